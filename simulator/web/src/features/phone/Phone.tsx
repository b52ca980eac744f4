import { useLayoutEffect, useRef } from "preact/hooks";
import type { Screen } from "../../core/messages";
import { useSimulator } from "../../state/context";
import { Alert } from "./Alert";
import { AppFrame } from "./AppFrame";
import { CameraScreen } from "./CameraScreen";
import { Ended } from "./Ended";
import { useFocusOnTop } from "./focusPhone";
import { LibraryScreen } from "./LibraryScreen";
import { Prompt } from "./Prompt";
import { SettingsApp } from "./SettingsApp";
import { StatusBar } from "./StatusBar";

const margin = 24;

/**
 * Scales the phone so that it fits its place. Where only one part of the page is shown, it takes the
 * width that there is and the page scrolls: its text must grow with the browser's.
 */
function useFitting() {
  const place = useRef<HTMLDivElement>(null);
  const phone = useRef<HTMLDivElement>(null);
  useLayoutEffect(() => {
    const around = place.current;
    const inner = phone.current;
    const screen = inner?.querySelector<HTMLElement>(".phone-screen");
    if (!around || !inner || !screen) return;
    const fit = () => {
      if (getComputedStyle(inner).position !== "absolute") {
        inner.style.removeProperty("transform");
        // What scrolls must be reached with the keyboard.
        if (around.scrollHeight > around.clientHeight) around.tabIndex = 0;
        else around.removeAttribute("tabindex");
        return;
      }
      const room = Math.min(
        1,
        (around.clientWidth - margin) / inner.offsetWidth,
        (around.clientHeight - margin) / inner.offsetHeight,
      );
      // The edges of the screen fall between pixels of the display: nothing shines through there.
      const scale = Math.floor(Math.max(0.3, room) * screen.offsetWidth) / screen.offsetWidth;
      const place = (space: number, size: number, edge: number) =>
        Math.round((space - size * scale) / 2 + edge * scale) - edge * scale;
      const x = place(around.clientWidth, inner.offsetWidth, screen.offsetLeft);
      const y = place(around.clientHeight, inner.offsetHeight, screen.offsetTop);
      inner.style.setProperty("transform", `translate(${x}px, ${y}px) scale(${scale})`);
    };
    fit();
    const observer = new ResizeObserver(fit);
    observer.observe(around);
    observer.observe(inner);
    return () => observer.disconnect();
  }, []);
  return { place, phone };
}

export function Phone() {
  const simulator = useSimulator();
  const { place, phone } = useFitting();
  return (
    <div class="phone-place" ref={place}>
      <div
        ref={phone}
        class={`phone ${simulator.preferences.landscape ? "landscape" : "portrait"}`}
        role="region"
        aria-label="Phone"
      >
        <span class="phone-lens" aria-hidden="true" />
        <div class="phone-screen">
          <StatusBar />
          <Content />
        </div>
      </div>
    </div>
  );
}

/** The app, and what lies over it: pickers and alerts, then the settings, then a prompt. */
function Content() {
  const { model, state } = useSimulator();
  const screens = state.screen.value ?? [];
  const prompt = state.prompts.value?.at(-1);
  const settings = model.settingsOpen.value;
  const ended = model.connection.value.kind === "ended";
  const top = ended
    ? "ended"
    : prompt
      ? `prompt ${prompt}`
      : settings
        ? "settings"
        : (screens.at(-1)?.id ?? "app");
  const content = useFocusOnTop(top);
  return (
    <div class="phone-content" ref={content}>
      <AppFrame covered={top !== "app"} />
      {screens.map((screen) => (
        <ScreenView key={screen.id} screen={screen} covered={top !== screen.id} />
      ))}
      {settings && <SettingsApp covered={top !== "settings"} />}
      {prompt && <Prompt key={prompt} permission={prompt} covered={ended} />}
      {ended && <Ended />}
      <Exporting />
    </div>
  );
}

function ScreenView({ screen, covered }: { screen: Screen; covered: boolean }) {
  const { client, cue } = useSimulator();
  if (screen.kind === "picker") {
    const Picker = screen.sourceType === 1 ? CameraScreen : LibraryScreen;
    return <Picker screen={screen} covered={covered} />;
  }
  const step = cue.value?.step;
  return (
    <Alert
      title={screen.title}
      message={screen.message}
      covered={covered}
      buttons={screen.actions.map((action) => ({
        key: action,
        label: action,
        cued: step?.do === "tap" && step.action === action,
      }))}
      onChoose={(action) => void client.act({ do: "tap", action })}
    />
  );
}

function Exporting() {
  const exporting = useSimulator().model.exporting.value;
  if (exporting === null) return null;
  return (
    <div class="exporting" role="status">
      <span>Preparing the movie</span>
      <progress max={1} value={exporting} aria-label="Export of the movie" />
    </div>
  );
}
