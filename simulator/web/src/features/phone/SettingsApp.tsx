import type { Authorization, Permission } from "../../core/messages";
import { useSimulator } from "../../state/context";
import { Icon } from "../../ui/icons";
import { layer } from "./focusPhone";

/** The phone's own settings, at the page of the app's permissions. */
export function SettingsApp({ covered }: { covered: boolean }) {
  const { client, state } = useSimulator();
  const permissions = state.permissions.value ?? {};
  const set = (permission: Permission, to: Authorization) =>
    void client.act({ do: "authorize", [permission]: to });
  const leave = () => client.store.dispatch({ kind: "settings", open: false });
  const onOff = (permission: "camera" | "location", label: string, icon: "camera" | "pin") => (
    <label class="settings-row">
      <span class={`settings-icon for-${permission}`}>
        <Icon name={icon} size={18} />
      </span>
      <span class="settings-label">{label}</span>
      <span class="switch bare">
        <input
          type="checkbox"
          role="switch"
          checked={permissions[permission] === "authorized"}
          onChange={(event) =>
            set(permission, event.currentTarget.checked ? "authorized" : "denied")
          }
        />
        <span class="switch-track" aria-hidden="true" />
      </span>
    </label>
  );
  return (
    <div
      class="settings-app"
      role="dialog"
      aria-label="Settings"
      tabIndex={-1}
      {...layer}
      inert={covered}
      onKeyDown={(event) => {
        if (event.key !== "Escape") return;
        event.stopPropagation();
        leave();
      }}
    >
      <button type="button" class="settings-back" onClick={leave} data-first>
        <Icon name="back" size={18} />
        Back to the app
      </button>
      <h2>Settings</h2>
      <p class="settings-intro">Your app may use</p>
      <div class="settings-group">
        {onOff("camera", "Camera", "camera")}
        {onOff("location", "Location", "pin")}
      </div>
      <fieldset class="settings-group">
        <legend>Photos</legend>
        {(
          [
            ["denied", "None"],
            ["limited", "Some photos"],
            ["authorized", "All photos"],
          ] as const
        ).map(([value, label]) => (
          <label key={value} class="settings-row">
            <span class="settings-label">{label}</span>
            <input
              type="radio"
              name="settings-photos"
              checked={permissions.photoLibrary === value}
              onChange={() => set("photoLibrary", value)}
            />
          </label>
        ))}
      </fieldset>
    </div>
  );
}
