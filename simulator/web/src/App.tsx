import { useCallback, useEffect, useMemo, useState } from "preact/hooks";
import { Inspector } from "./inspector/Inspector";
import { browserFix, LocationDriver } from "./media/LocationDriver";
import { changedDevice } from "./model/device";
import { noRoom, type Preferences, recallPreferences, rememberPreferences } from "./model/preferences";
import type { Memory, SimulatorClient } from "./model/SimulatorClient";
import { useModel } from "./model/Store";
import { Panel } from "./panel/Panel";
import { Phone } from "./phone/Phone";
import { type Cue, type Simulator, SimulatorContext } from "./ui/context";
import { Button } from "./ui/controls";
import { Icon } from "./ui/icons";
import { focusInside } from "./ui/modal";
import { Shortcuts } from "./ui/Shortcuts";

const useMedia = (query: string): boolean => {
  const [matches, setMatches] = useState(() => matchMedia(query).matches);
  useEffect(() => {
    const list = matchMedia(query);
    const onChange = () => setMatches(list.matches);
    list.addEventListener("change", onChange);
    return () => list.removeEventListener("change", onChange);
  }, [query]);
  return matches;
};

const isWriting = (target: EventTarget | null): boolean =>
  target instanceof Element && target.closest("input, select, textarea, [role=group]") !== null;

/** Answers prompts and gives fixes where that was set beforehand. */
function useStandIns({ client, model, preferences, replaying }: Simulator): void {
  const driver = useMemo(
    () =>
      new LocationDriver(preferences.location, {
        send: (fix) => void client.act({ do: "location", ...fix }),
        browserFix,
        failed: (text) => client.store.dispatch({ kind: "notice", text }),
        now: () => performance.now(),
        setTimer: (work, milliseconds) => window.setTimeout(work, milliseconds),
        clearTimer: (timer) => window.clearTimeout(timer),
      }),
    [client],
  );
  const looking =
    model.state?.location.running === true &&
    model.state.permissions.location === "authorized";
  useEffect(() => driver.configure(preferences.location), [preferences.location]);
  useEffect(() => driver.setLooking(looking), [looking]);
  // After it: what begins with the last step of a replay is the replay's.
  useEffect(() => driver.setReplaying(replaying), [replaying]);
  useEffect(
    () =>
      client.listen({
        onEvent: ({ event, manager }) => {
          if (event === "location" && manager === "start") driver.managerStarted();
        },
      }),
    [client, driver],
  );
  useEffect(() => () => driver.end(), [driver]);

  const prompt = model.state?.prompts.at(-1);
  useEffect(() => {
    const answer = prompt ? preferences.promptAnswers[prompt] : "ask";
    if (prompt && answer !== "ask" && !replaying)
      void client.act({ do: "answer", prompt, with: answer });
  }, [prompt]);
}

function Standing({ simulator }: { simulator: Simulator }) {
  useStandIns(simulator);
  return null;
}

export function App({ client, memory }: { client: SimulatorClient; memory: Memory }) {
  const model = useModel(client.store);
  const [preferences, setPreferences] = useState<Preferences>(() => recallPreferences(memory));
  const [cue, setCue] = useState<Cue | null>(null);
  const [replaying, setReplaying] = useState(false);
  const [shortcuts, setShortcuts] = useState(false);
  const prefersDark = useMedia("(prefers-color-scheme: dark)");
  const stillness = useMedia("(prefers-reduced-motion: reduce)");
  const dark = preferences.theme === "auto" ? prefersDark : preferences.theme === "dark";
  const moving = preferences.animations && !stillness;

  const prefer = useCallback(
    (changes: Partial<Preferences>) =>
      setPreferences((before) => {
        const after = { ...before, ...changes };
        if (!rememberPreferences(memory, after))
          client.store.dispatch({ kind: "remark", text: noRoom });
        return after;
      }),
    [client, memory],
  );

  useEffect(() => {
    // A file that is dropped beside its place would be opened in the place of this page.
    const onDrag = (event: DragEvent) => {
      if (event.defaultPrevented) return;
      event.preventDefault();
      if (event.dataTransfer) event.dataTransfer.dropEffect = "none";
    };
    for (const type of ["dragover", "drop"] as const) window.addEventListener(type, onDrag);
    return () => {
      for (const type of ["dragover", "drop"] as const) window.removeEventListener(type, onDrag);
    };
  }, []);

  useEffect(() => {
    const root = document.documentElement;
    root.dataset.theme = dark ? "dark" : "light";
    root.dataset.motion = moving ? "on" : "off";
  }, [dark, moving]);

  useEffect(() => {
    const onKeyDown = (event: KeyboardEvent) => {
      if (event.ctrlKey || event.metaKey || event.altKey || isWriting(event.target)) return;
      if (!preferences.singleKeys) return;
      const focus = (selector: string) => document.querySelector<HTMLElement>(selector)?.focus();
      const actions: Record<string, () => void> = {
        "?": () => setShortcuts(true),
        t: () => prefer({ theme: dark ? "light" : "dark" }),
        r: () => prefer({ landscape: !preferences.landscape }),
        p: () => {
          const shown = document.querySelectorAll<HTMLElement>(".phone-content [aria-modal=true]");
          const top = [...shown].at(-1);
          if (top) focusInside(top);
          else focus(".app-frame");
        },
        d: () => focus(".panel summary"),
        i: () => focus(".inspector [role=tab][aria-selected=true]"),
      };
      const action = actions[event.key];
      if (!action) return;
      event.preventDefault();
      action();
    };
    window.addEventListener("keydown", onKeyDown);
    return () => window.removeEventListener("keydown", onKeyDown);
  }, [preferences, dark, prefer]);

  const simulator: Simulator = {
    client,
    model,
    preferences,
    prefer,
    cue,
    setCue,
    replaying,
    setReplaying,
  };
  return (
    <SimulatorContext.Provider value={simulator}>
      <Standing simulator={simulator} />
      <div class="shell" inert={shortcuts}>
        <header class="topbar">
          <h1>
            <Icon name="camera" size={22} />
            VECamera <span>simulator</span>
          </h1>
          <Connection simulator={simulator} />
          <div class="topbar-actions">
            <Button
              label={dark ? "Light theme" : "Dark theme"}
              icon={dark ? "sun" : "moon"}
              iconOnly
              look="quiet"
              keys="t"
              onClick={() => prefer({ theme: dark ? "light" : "dark" })}
            />
            <Button
              label="Turn the phone"
              icon="rotate"
              iconOnly
              look="quiet"
              keys="r"
              onClick={() => prefer({ landscape: !preferences.landscape })}
            />
            <Button
              label="Keyboard shortcuts"
              icon="help"
              iconOnly
              look="quiet"
              keys="?"
              onClick={() => setShortcuts(true)}
            />
          </div>
        </header>
        <main class="desk">
          <Panel />
          <section class="stage-area" aria-label="Phone and messages">
            <Notice simulator={simulator} />
            <Phone dark={dark} />
          </section>
          <Inspector />
        </main>
      </div>
      {shortcuts && <Shortcuts onClose={() => setShortcuts(false)} />}
    </SimulatorContext.Provider>
  );
}

function Connection({ simulator }: { simulator: Simulator }) {
  const { connection } = simulator.model;
  const texts = {
    connecting: "Connecting…",
    open: "Connected",
    lost: "Connection lost; trying again…",
    ended: "Ended",
  };
  return (
    <p class={`connection ${connection.kind}`} role="status">
      <span class="dot" aria-hidden="true" />
      {connection.kind === "ended" ? `Ended: ${connection.why}` : texts[connection.kind]}
      {simulator.replaying && <span class="chip live">Replay</span>}
    </p>
  );
}

function Notice({ simulator }: { simulator: Simulator }) {
  const { client, model } = simulator;
  const { device, state } = model;
  return (
    <div class="notice-place" role="alert">
      {state?.broken && (
        <div class="notice">
          <Icon name="note" size={18} />
          <p>The device does nothing any more: {state.broken}</p>
          <Button
            label="Start it anew"
            onClick={() =>
              void client.noticing(() => client.restart(changedDevice(device, state, {})))
            }
          />
        </div>
      )}
      {model.notice !== null && (
        <div class="notice">
          <Icon name="note" size={18} />
          <p>{model.notice}</p>
          <Button
            label="Dismiss"
            icon="close"
            iconOnly
            look="quiet"
            onClick={() => client.store.dispatch({ kind: "notice", text: null })}
          />
        </div>
      )}
    </div>
  );
}
