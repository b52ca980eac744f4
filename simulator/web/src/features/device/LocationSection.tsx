import type { LocationMode } from "../../state/preferences";
import { useSimulator } from "../../state/context";
import { Field, Select } from "../../ui/controls";
import { PanelSection } from "./PanelSection";

const modes: readonly (readonly [LocationMode, string])[] = [
  ["fix", "At this place"],
  ["late", "At this place, late"],
  ["track", "Walking around this place"],
  ["browser", "Where the browser is"],
  ["none", "Never found"],
];

const coordinates = [
  ["Latitude", "latitude", 90],
  ["Longitude", "longitude", 180],
] as const;

export function LocationSection() {
  const simulator = useSimulator();
  const { location } = simulator.preferences;
  const running = simulator.state.location.value?.running;
  const { fix } = location;
  const change = (changes: Partial<typeof location>) =>
    simulator.prefer({ location: { ...location, ...changes } });
  const placed = location.mode !== "none" && location.mode !== "browser";
  return (
    <PanelSection
      title="Location"
      icon="pin"
      aside={running ? <span class="live">asked for</span> : undefined}
    >
      <Select
        label="The device finds itself"
        value={location.mode}
        choices={modes}
        onChange={(mode) => change({ mode })}
      />
      {placed && (
        <div class="field-row">
          {coordinates.map(([label, key, limit]) => (
            <Field
              key={key}
              label={label}
              type="number"
              step="any"
              value={String(fix[key])}
              onCommit={(text) => {
                const value = Number(text);
                if (text.trim() !== "" && Math.abs(value) <= limit)
                  change({ fix: { ...fix, [key]: value } });
              }}
            />
          ))}
          <Field
            label="Altitude, m"
            type="number"
            step="any"
            placeholder="unknown"
            value={typeof fix.altitude === "number" ? String(fix.altitude) : ""}
            onCommit={(text) =>
              change({ fix: { ...fix, altitude: text.trim() === "" ? "NaN" : Number(text) } })
            }
          />
        </div>
      )}
      {location.mode === "late" && (
        <Field
          label="After so many seconds"
          type="number"
          step="1"
          value={String(location.delay)}
          onCommit={(text) => change({ delay: Math.min(600, Math.max(0, Number(text) || 0)) })}
        />
      )}
    </PanelSection>
  );
}
