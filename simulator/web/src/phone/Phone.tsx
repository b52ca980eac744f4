import { useLayoutEffect, useRef } from "preact/hooks";
import { useSimulator } from "../ui/context";
import { Alert } from "./Alert";
import { AppFrame } from "./AppFrame";
import { CameraScreen } from "./CameraScreen";
import { LibraryScreen } from "./LibraryScreen";
import { Prompt } from "./Prompt";
import { SettingsApp } from "./SettingsApp";
import { StatusBar } from "./StatusBar";

const margin = 24;

/** Scales the phone so that it fits its place; its screen always has a phone's own size. */
function useFitting() {
  const place = useRef<HTMLDivElement>(null);
  const phone = useRef<HTMLDivElement>(null);
  useLayoutEffect(() => {
    const around = place.current;
    const inner = phone.current;
    const screen = inner?.querySelector<HTMLElement>(".phone-screen");
    if (!around || !inner || !screen) return;
    const fit = () => {
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

export function Phone({ dark }: { dark: boolean }) {
  const { client, model, preferences, cue } = useSimulator();
  const { place, phone } = useFitting();
  const screens = model.state?.screen ?? [];
  const prompts = model.state?.prompts ?? [];
  const prompt = prompts.at(-1);
  const covered = screens.length > 0 || prompts.length > 0 || model.settingsOpen;
  return (
    <div class="phone-place" ref={place}>
      <div
        ref={phone}
        class={`phone ${preferences.landscape ? "landscape" : "portrait"}`}
        role="region"
        aria-label="Phone"
      >
        <span class="phone-lens" aria-hidden="true" />
        <div class="phone-screen">
          <StatusBar />
          <div class="phone-content">
            <AppFrame covered={covered} dark={dark} />
            {screens.map((screen, index) => {
              const under = index < screens.length - 1 || prompts.length > 0 || model.settingsOpen;
              if (screen.kind === "alert")
                return (
                  <Alert
                    key={screen.id}
                    title={screen.title}
                    message={screen.message}
                    buttons={screen.actions.map((action) => ({
                      key: action,
                      label: action,
                      cued: cue?.step.do === "tap" && cue.step.action === action,
                    }))}
                    onChoose={(action) => void client.act({ do: "tap", action })}
                  />
                );
              const Picker = screen.sourceType === 1 ? CameraScreen : LibraryScreen;
              return <Picker key={screen.id} screen={screen} covered={under} />;
            })}
            {model.settingsOpen && <SettingsApp covered={prompts.length > 0} />}
            {prompt && <Prompt key={prompt} permission={prompt} />}
            {model.exporting !== null && (
              <div class="exporting" role="status">
                <span>Preparing the movie</span>
                <progress max={1} value={model.exporting} aria-label="Export of the movie" />
              </div>
            )}
          </div>
        </div>
      </div>
    </div>
  );
}
