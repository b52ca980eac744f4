import type { Theme } from "../../state/preferences";
import { useSimulator } from "../../state/context";
import { Select, Switch } from "../../ui/controls";
import { PanelSection } from "./PanelSection";

const themes: readonly (readonly [Theme, string])[] = [
  ["auto", "As the system"],
  ["light", "Light"],
  ["dark", "Dark"],
];

export function AppearanceSection() {
  const simulator = useSimulator();
  const { preferences } = simulator;
  return (
    <PanelSection title="Appearance" icon="sun">
      <Select
        label="Theme"
        value={preferences.theme}
        choices={themes}
        onChange={(theme) => simulator.prefer({ theme })}
      />
      <Switch
        label="Phone on its side"
        checked={preferences.landscape}
        onChange={(landscape) => simulator.prefer({ landscape })}
      />
      <Switch
        label="Animations"
        hint="Off where the system asks for less motion."
        checked={preferences.animations}
        onChange={(animations) => simulator.prefer({ animations })}
      />
    </PanelSection>
  );
}
