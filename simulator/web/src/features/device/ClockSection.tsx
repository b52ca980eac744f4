import { useState } from "preact/hooks";
import { textOf } from "../../core/json";
import type { DeviceChanges } from "../../core/device";
import { useSimulator } from "../../state/context";
import { Button, Field, Select } from "../../ui/controls";
import { PanelSection } from "./PanelSection";

const zones = [
  "UTC",
  "Europe/Paris",
  "Europe/London",
  "America/New_York",
  "America/Los_Angeles",
  "Asia/Kathmandu",
  "Asia/Tokyo",
  "Australia/Sydney",
];
const locales = [
  "en_US",
  "en_GB",
  "de_DE",
  "fr_FR",
  "ar_EG",
  "th_TH@calendar=buddhist",
  "ja_JP@calendar=japanese",
];

const text = (value: unknown, otherwise: string) => (typeof value === "string" ? value : otherwise);

export function ClockSection() {
  const { client, model, state } = useSimulator();
  const device = model.device.value;
  const clock = state.clock.value;
  const [seconds, setSeconds] = useState("3600");
  const fixed = clock?.mode === "fixed";
  const zone = text(device.timeZone, "UTC");
  const locale = text(device.locale, "en_US");
  const languages = Array.isArray(device.languages)
    ? device.languages.map(textOf).join(", ")
    : "en";

  const change = (changes: DeviceChanges) => void client.change(changes);
  return (
    <PanelSection title="Clock and language" icon="auto">
      <Select
        label="Clock"
        value={fixed ? "fixed" : "real"}
        choices={[
          ["real", "Goes with the real time"],
          ["fixed", "Stands still"],
        ]}
        disabled={!clock}
        onChange={(mode) =>
          change({ clock: mode === "fixed" ? new Date().toISOString() : undefined })
        }
      />
      {fixed && (
        <>
          <Field
            label="Instant (ISO 8601)"
            value={clock.now}
            onCommit={(now) => {
              const instant = new Date(now);
              if (!Number.isNaN(instant.valueOf())) change({ clock: instant.toISOString() });
            }}
          />
          <div class="field-row end">
            <Field label="Seconds" type="number" step="1" value={seconds} onCommit={setSeconds} />
            <Button
              label="Move on"
              icon="next"
              onClick={() => void client.act({ do: "advance", seconds: Number(seconds) || 0 })}
            />
          </div>
        </>
      )}
      {!fixed && <p class="hint">A clock that stands still can be set, and moved on.</p>}
      <p class="group-title">
        Region <small>(starts the device anew)</small>
      </p>
      <Field
        label="Time zone"
        value={zone}
        suggestions={zones}
        disabled={!clock}
        onCommit={(timeZone) => timeZone !== zone && timeZone && change({ timeZone })}
      />
      <Field
        label="Locale"
        value={locale}
        suggestions={locales}
        disabled={!clock}
        onCommit={(next) => next !== locale && next && change({ locale: next })}
      />
      <Field
        label="Languages, best first"
        value={languages}
        suggestions={["en", "de", "fr, en", "ja"]}
        disabled={!clock}
        onCommit={(list) => {
          const next = list
            .split(",")
            .map((one) => one.trim())
            .filter(Boolean);
          if (next.length > 0 && next.join(", ") !== languages) change({ languages: next });
        }}
      />
    </PanelSection>
  );
}
