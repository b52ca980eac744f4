import { promptChoices } from "../../state/preferences";
import type { Authorization, Permission } from "../../core/messages";
import { useSimulator } from "../../state/context";
import { Button, Select } from "../../ui/controls";
import { PanelSection } from "./PanelSection";

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
  const simulator = useSimulator();
  const { client } = simulator;
  const known = simulator.state.permissions.value;
  const permissions = known ?? {};
  const answers = simulator.preferences.promptAnswers;
  return (
    <PanelSection title="Permissions" icon="check">
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
              disabled={!known}
              onChange={(to) => void client.act({ do: "authorize", [permission]: to })}
            />
            <Select
              label={`Next prompt for ${label.toLowerCase()}`}
              value={answers[permission]}
              choices={promptChoices[permission]}
              onChange={(answer) =>
                simulator.prefer({ promptAnswers: { ...answers, [permission]: answer } })
              }
            />
          </div>
        ))}
      </div>
      <Button
        label="Make all undecided"
        icon="rewind"
        disabled={!known}
        onClick={() =>
          void client.act({
            do: "authorize",
            camera: "notDetermined",
            photoLibrary: "notDetermined",
            location: "notDetermined",
          })
        }
      />
    </PanelSection>
  );
}
