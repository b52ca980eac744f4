import type { Signal } from "@preact/signals";

export type View = "phone" | "device" | "inspector";

const views: readonly (readonly [View, string])[] = [
  ["phone", "Phone"],
  ["device", "Device"],
  ["inspector", "Inspector"],
];

/** Chooses the part that is shown where there is no room for three side by side. */
export function ViewSwitch({ view }: { view: Signal<View> }) {
  return (
    <nav class="view-switch" aria-label="Parts of the page">
      {views.map(([key, label]) => (
        <label key={key}>
          <input
            type="radio"
            name="view"
            checked={view.value === key}
            onChange={() => {
              view.value = key;
            }}
          />
          <span>{label}</span>
        </label>
      ))}
    </nav>
  );
}
