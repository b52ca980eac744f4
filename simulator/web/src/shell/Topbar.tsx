import { useSimulator } from "../state/context";
import { Button } from "../ui/controls";
import { Icon, type IconName } from "../ui/icons";
import type { Actions, Shortcut } from "./shortcutKeys";

export function Topbar({ actions }: { actions: Actions }) {
  const dark = useSimulator().dark.value;
  const button = (keys: Shortcut, label: string, icon: IconName) => (
    <Button label={label} icon={icon} iconOnly look="quiet" keys={keys} onClick={actions[keys]} />
  );
  return (
    <header class="topbar">
      <h1>
        <Icon name="camera" size={22} />
        VECamera <span>simulator</span>
      </h1>
      <Connection />
      <div class="topbar-actions">
        {button("t", dark ? "Light theme" : "Dark theme", dark ? "sun" : "moon")}
        {button("r", "Rotate the phone", "rotate")}
        {button("?", "Keyboard shortcuts", "help")}
      </div>
    </header>
  );
}

const texts = {
  connecting: "Connecting…",
  open: "Connected",
  lost: "Connection lost; trying again…",
};

function Connection() {
  const { model, replaying } = useSimulator();
  const connection = model.connection.value;
  return (
    <p class={`connection ${connection.kind}`} role="status">
      <span class="dot" aria-hidden="true" />
      {connection.kind === "ended" ? `Ended: ${connection.why}` : texts[connection.kind]}
      {replaying.value && <span class="chip live">Replay</span>}
    </p>
  );
}
