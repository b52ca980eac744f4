import {
  type DeviceChanges,
  type MediaChoice,
  mediaChoiceOf,
  withMediaChoice,
} from "../model/device";
import { useSimulator } from "../ui/context";
import { Section, Select, Switch } from "../ui/controls";

const sources = [
  [1, "Camera"],
  [0, "Photo library"],
  [2, "Saved photos album"],
] as const;

const mediaChoices: readonly (readonly [MediaChoice, string])[] = [
  ["both", "Photos and movies"],
  ["photos", "Photos only"],
  ["movies", "Movies only"],
  ["none", "No kind at all"],
];

export function SourcesSection() {
  const { client, model, preferences, prefer } = useSimulator();
  const { device, state } = model;
  const available = Array.isArray(device.availableSources) ? device.availableSources : [0, 1, 2];
  const change = (changes: DeviceChanges) => void client.change(changes);
  const set = (source: number, there: boolean) => {
    const others = available.filter((other) => other !== source);
    change({ availableSources: there ? [...others, source].sort() : others });
  };
  return (
    <Section title="Cameras and sources" icon="camera">
      <Select
        label="The camera sees"
        value={preferences.generatedScene ? "scene" : "webcam"}
        choices={[
          ["webcam", "The webcam, where there is one"],
          ["scene", "A generated scene"],
        ]}
        onChange={(value) => prefer({ generatedScene: value === "scene" })}
      />
      <Switch
        label="Front camera"
        checked={preferences.frontCamera}
        onChange={(frontCamera) => prefer({ frontCamera })}
      />
      <p class="group-title">
        The device has <small>(starts it anew)</small>
      </p>
      {sources.map(([source, label]) => (
        <div class="source" key={source}>
          <Switch
            label={label}
            checked={available.includes(source)}
            disabled={!state}
            onChange={(there) => set(source, there)}
          />
          {available.includes(source) && (
            <Select
              label={`${label} offers`}
              value={mediaChoiceOf(device, source)}
              choices={mediaChoices}
              disabled={!state}
              onChange={(choice) =>
                change({ availableMediaTypes: withMediaChoice(device, source, choice) })
              }
            />
          )}
        </div>
      ))}
      <Switch
        label="View controller"
        hint="Without one the app has nothing to present the picker on."
        checked={device.viewController !== false}
        disabled={!state}
        onChange={(viewController) => change({ viewController })}
      />
    </Section>
  );
}
