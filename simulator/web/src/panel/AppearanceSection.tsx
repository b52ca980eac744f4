import type { Theme } from "../model/preferences";
import { useSimulator } from "../ui/context";
import { Section, Select, Switch } from "../ui/controls";

const themes: readonly (readonly [Theme, string])[] = [
  ["auto", "As the system"],
  ["light", "Light"],
  ["dark", "Dark"],
];

export function AppearanceSection() {
  const { preferences, prefer } = useSimulator();
  return (
    <Section title="Appearance" icon="sun">
      <Select
        label="Theme"
        value={preferences.theme}
        choices={themes}
        onChange={(theme) => prefer({ theme })}
      />
      <Switch
        label="Phone on its side"
        checked={preferences.landscape}
        onChange={(landscape) => prefer({ landscape })}
      />
      <Switch
        label="Animations"
        hint="Off where the system asks for less motion."
        checked={preferences.animations}
        onChange={(animations) => prefer({ animations })}
      />
    </Section>
  );
}
