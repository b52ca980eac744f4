import { useSimulator } from "./context";
import { Button, Switch } from "./controls";
import { useModal } from "./modal";

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
  const { preferences, prefer } = useSimulator();
  const modal = useModal<HTMLDivElement>();
  return (
    <div class="page-backdrop">
      <div
        ref={modal}
        class="page-dialog"
        role="dialog"
        aria-modal="true"
        aria-labelledby="shortcuts-title"
        tabIndex={-1}
        onKeyDown={(event) => event.key === "Escape" && onClose()}
      >
        <header>
          <h2 id="shortcuts-title">Keyboard</h2>
          <Button label="Close" icon="close" iconOnly look="quiet" onClick={onClose} />
        </header>
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
          checked={preferences.singleKeys}
          onChange={(singleKeys) => prefer({ singleKeys })}
        />
      </div>
    </div>
  );
}
