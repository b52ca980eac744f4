import { useSignal } from "@preact/signals";
import { useEffect } from "preact/hooks";
import { Panel } from "../features/device";
import { Inspector } from "../features/inspector";
import { Phone } from "../features/phone";
import { SimulatorContext } from "../state/context";
import type { Simulator } from "../state/Simulator";
import { Notices } from "./Notices";
import { Shortcuts } from "./Shortcuts";
import { useShortcutKeys } from "./shortcutKeys";
import { Topbar } from "./Topbar";
import { ViewSwitch, type View } from "./ViewSwitch";

/** A file that is dropped beside its place would be opened in the place of this page. */
function useDropGuard(): void {
  useEffect(() => {
    const onDrag = (event: DragEvent) => {
      if (event.defaultPrevented) return;
      event.preventDefault();
      if (event.dataTransfer) event.dataTransfer.dropEffect = "none";
    };
    const types = ["dragover", "drop"] as const;
    for (const type of types) window.addEventListener(type, onDrag);
    return () => types.forEach((type) => window.removeEventListener(type, onDrag));
  }, []);
}

function useTheme({ dark, moving }: Simulator): void {
  const theme = dark.value ? "dark" : "light";
  const motion = moving.value ? "on" : "off";
  useEffect(() => {
    Object.assign(document.documentElement.dataset, { theme, motion });
  }, [theme, motion]);
}

export function App({ simulator }: { simulator: Simulator }) {
  const view = useSignal<View>("phone");
  const shortcuts = useSignal(false);
  const actions = useShortcutKeys(simulator, view, () => {
    shortcuts.value = true;
  });
  useTheme(simulator);
  useDropGuard();
  return (
    <SimulatorContext.Provider value={simulator}>
      <div class="shell">
        <Topbar actions={actions} />
        <ViewSwitch view={view} />
        <main class="desk" data-view={view.value}>
          <Panel />
          <section class="phone-area" aria-label="Phone and messages">
            <Notices />
            <Phone />
          </section>
          <Inspector />
        </main>
      </div>
      {shortcuts.value && (
        <Shortcuts
          onClose={() => {
            shortcuts.value = false;
          }}
        />
      )}
    </SimulatorContext.Provider>
  );
}
