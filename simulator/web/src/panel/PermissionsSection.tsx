import { promptChoices } from "../model/preferences";
import type { Authorization, Permission } from "../protocol/messages";
import { useSimulator } from "../ui/context";
import { Button, Section, Select } from "../ui/controls";

const names: readonly (readonly [Permission, string])[] = [
  ["camera", "Camera"],
  ["photoLibrary", "Photos"],
  ["location", "Location"],
];

const states: readonly (readonly [Authorization, string])[] = [
  ["notDetermined", "Undecided"],
  ["authorized", "Allowed"],
  ["denied", "Denied"],
  ["restricted", "Restricted"],
];

const photoStates = [...states, ["limited", "Some photos"]] as const;

export function PermissionsSection() {
  const { client, model, preferences, prefer } = useSimulator();
  const permissions = model.state?.permissions ?? {};
  const answers = preferences.promptAnswers;
  return (
    <Section title="Permissions" icon="check" open>
      <div class="permission-grid">
        <span class="grid-head" aria-hidden="true" />
        <span class="grid-head" aria-hidden="true">
          Now
        </span>
        <span class="grid-head" aria-hidden="true">
          Next prompt
        </span>
        {names.map(([permission, label]) => (
          <div class="permission-row" key={permission} role="group" aria-label={label}>
            <span class="permission-name">{label}</span>
            <Select
              label={`${label} now`}
              value={permissions[permission] ?? "authorized"}
              choices={permission === "photoLibrary" ? photoStates : states}
              disabled={!model.state}
              onChange={(to) => void client.act({ do: "authorize", [permission]: to })}
            />
            <Select
              label={`Next prompt for ${label.toLowerCase()}`}
              value={answers[permission]}
              choices={promptChoices[permission]}
              onChange={(answer) => prefer({ promptAnswers: { ...answers, [permission]: answer } })}
            />
          </div>
        ))}
      </div>
      <Button
        label="Make all undecided"
        icon="rewind"
        disabled={!model.state}
        onClick={() =>
          void client.act({
            do: "authorize",
            camera: "notDetermined",
            photoLibrary: "notDetermined",
            location: "notDetermined",
          })
        }
      />
    </Section>
  );
}
