import { useSimulator } from "../state/context";
import { Switch } from "../ui/controls";
import { PageDialog } from "../ui/PageDialog";

const groups = [
  {
    title: "Anywhere",
    keys: [
      ["?", "This page"],
      ["t", "Light or dark"],
      ["r", "Rotate the phone"],
      ["p", "Go to the phone"],
      ["d", "Go to the device’s panel"],
      ["i", "Go to the inspector"],
    ],
  },
  {
    title: "Camera and library",
    keys: [
      ["Enter Space", "Press what has the focus; the shutter has it first"],
      ["Esc", "Retake, back, or cancel"],
      ["← ↑ → ↓", "From picture to picture"],
    ],
  },
  {
    title: "Move and scale",
    keys: [
      ["← ↑ → ↓", "Move the picture"],
      ["+ −", "Zoom"],
      ["0", "Start over"],
    ],
  },
] as const;

export function Shortcuts({ onClose }: { onClose: () => void }) {
  const simulator = useSimulator();
  return (
    <PageDialog title="Keyboard" onClose={onClose}>
      <div class="shortcut-groups">
        {groups.map((group) => (
          <section key={group.title}>
            <h3>{group.title}</h3>
            <dl>
              {group.keys.map(([key, what]) => (
                <div key={key}>
                  <dt>
                    {key.split(" ").map((one) => (
                      <kbd key={one}>{one}</kbd>
                    ))}
                  </dt>
                  <dd>{what}</dd>
                </div>
              ))}
            </dl>
          </section>
        ))}
      </div>
      <Switch
        label="Single-key shortcuts"
        hint="The keys under “Anywhere”, except while you write."
        checked={simulator.preferences.singleKeys}
        onChange={(singleKeys) => simulator.prefer({ singleKeys })}
      />
    </PageDialog>
  );
}
