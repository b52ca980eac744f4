import { changedDevice } from "../model/device";
import { useSimulator } from "../ui/context";
import { Section, Select, Switch } from "../ui/controls";

const sources = [
  [1, "Camera"],
  [0, "Photo library"],
  [2, "Saved photos album"],
] as const;

export function SourcesSection() {
  const { client, model, preferences, prefer } = useSimulator();
  const available = Array.isArray(model.device.availableSources)
    ? model.device.availableSources
    : [0, 1, 2];
  const set = (source: number, there: boolean) => {
    const { state } = model;
    if (!state) return;
    const others = available.filter((other) => other !== source);
    const device = changedDevice(model.device, state, {
      availableSources: there ? [...others, source].sort() : others,
    });
    void client.noticing(() => client.restart(device));
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
        <Switch
          key={source}
          label={label}
          checked={available.includes(source)}
          disabled={!model.state}
          onChange={(there) => set(source, there)}
        />
      ))}
    </Section>
  );
}
