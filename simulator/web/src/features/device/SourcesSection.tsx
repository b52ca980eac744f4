import type { DeviceChanges } from "../../core/device";
import { useSimulator } from "../../state/context";
import { Select, Switch } from "../../ui/controls";
import { type MediaChoice, mediaChoiceOf, withMediaChoice } from "./mediaChoices";
import { PanelSection } from "./PanelSection";

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
  const simulator = useSimulator();
  const { client, model, preferences } = simulator;
  const device = model.device.value;
  const known = model.state.value !== null;
  const available = Array.isArray(device.availableSources) ? device.availableSources : [0, 1, 2];
  const change = (changes: DeviceChanges) => void client.change(changes);
  const set = (source: number, there: boolean) => {
    const others = available.filter((other) => other !== source);
    change({ availableSources: there ? [...others, source].sort() : others });
  };
  return (
    <PanelSection title="Cameras and sources" icon="camera">
      <Select
        label="The camera sees"
        value={preferences.generatedScene ? "scene" : "webcam"}
        choices={[
          ["webcam", "The webcam, where there is one"],
          ["scene", "A generated scene"],
        ]}
        onChange={(value) => simulator.prefer({ generatedScene: value === "scene" })}
      />
      <Switch
        label="Front camera"
        checked={preferences.frontCamera}
        onChange={(frontCamera) => simulator.prefer({ frontCamera })}
      />
      <p class="group-title">
        The device has <small>(starts it anew)</small>
      </p>
      {sources.map(([source, label]) => (
        <div class="source" key={source}>
          <Switch
            label={label}
            checked={available.includes(source)}
            disabled={!known}
            onChange={(there) => set(source, there)}
          />
          {available.includes(source) && (
            <Select
              label={`${label} offers`}
              value={mediaChoiceOf(device, source)}
              choices={mediaChoices}
              disabled={!known}
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
        disabled={!known}
        onChange={(viewController) => change({ viewController })}
      />
    </PanelSection>
  );
}
