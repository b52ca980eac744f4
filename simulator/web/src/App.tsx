import { useCallback, useEffect, useMemo, useState } from "preact/hooks";
import { Inspector } from "./inspector/Inspector";
import { browserFix, LocationDriver } from "./media/LocationDriver";
import { type Preferences, recallPreferences, rememberPreferences } from "./model/preferences";
import type { SimulatorClient } from "./model/SimulatorClient";
import { storageFull, type TabStorage } from "./model/storage";
import { useModel } from "./model/Store";
import { Panel } from "./panel/Panel";
import { Phone } from "./phone/Phone";
import { type Cue, type Simulator, SimulatorContext } from "./ui/context";
import { Button } from "./ui/controls";
import { Icon, type IconName } from "./ui/icons";
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
function StandIns({ simulator }: { simulator: Simulator }) {
  const { client, model, preferences, replaying } = simulator;
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
  return null;
}

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

const focus = (selector: string) => document.querySelector<HTMLElement>(selector)?.focus();

const focusPhone = () => {
  const shown = document.querySelectorAll<HTMLElement>(".phone-content [aria-modal=true]");
  const top = [...shown].at(-1);
  if (top) focusInside(top);
  else focus(".app-frame");
};

type Shortcut = "?" | "t" | "r" | "p" | "d" | "i";
/** What a shortcut does; some have a button at the top, too. */
type Actions = Record<Shortcut, () => void>;

function useShortcutKeys(actions: Record<string, () => void>, enabled: boolean): void {
  useEffect(() => {
    const onKeyDown = (event: KeyboardEvent) => {
      if (event.ctrlKey || event.metaKey || event.altKey || isWriting(event.target)) return;
      const action = actions[event.key];
      if (!enabled || !action) return;
      event.preventDefault();
      action();
    };
    window.addEventListener("keydown", onKeyDown);
    return () => window.removeEventListener("keydown", onKeyDown);
  });
}

export function App({ client, storage }: { client: SimulatorClient; storage: TabStorage }) {
  const model = useModel(client.store);
  const [preferences, setPreferences] = useState<Preferences>(() => recallPreferences(storage));
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
        if (!rememberPreferences(storage, after))
          client.store.dispatch({ kind: "note", text: storageFull });
        return after;
      }),
    [client, storage],
  );

  useEffect(() => {
    const root = document.documentElement;
    root.dataset.theme = dark ? "dark" : "light";
    root.dataset.motion = moving ? "on" : "off";
  }, [dark, moving]);

  const actions: Actions = {
    "?": () => setShortcuts(true),
    t: () => prefer({ theme: dark ? "light" : "dark" }),
    r: () => prefer({ landscape: !preferences.landscape }),
    p: focusPhone,
    d: () => focus(".panel summary"),
    i: () => focus(".inspector [role=tab][aria-selected=true]"),
  };
  useDropGuard();
  useShortcutKeys(actions, preferences.singleKeys);

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
      <StandIns simulator={simulator} />
      <div class="shell" inert={shortcuts}>
        <Topbar simulator={simulator} dark={dark} actions={actions} />
        <main class="desk">
          <Panel />
          <section class="phone-area" aria-label="Phone and messages">
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

function Topbar(props: { simulator: Simulator; dark: boolean; actions: Actions }) {
  const { simulator, dark, actions } = props;
  const button = (keys: Shortcut, label: string, icon: IconName) => (
    <Button label={label} icon={icon} iconOnly look="quiet" keys={keys} onClick={actions[keys]} />
  );
  return (
    <header class="topbar">
      <h1>
        <Icon name="camera" size={22} />
        VECamera <span>simulator</span>
      </h1>
      <Connection simulator={simulator} />
      <div class="topbar-actions">
        {button("t", dark ? "Light theme" : "Dark theme", dark ? "sun" : "moon")}
        {button("r", "Rotate the phone", "rotate")}
        {button("?", "Keyboard shortcuts", "help")}
      </div>
    </header>
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
  const { state } = model;
  return (
    <div class="notice-place" role="alert">
      {state?.broken && (
        <div class="notice">
          <Icon name="warning" size={18} />
          <p>The device does nothing any more: {state.broken}</p>
          <Button
            label="Start it anew"
            onClick={() => void client.change({})}
          />
        </div>
      )}
      {model.notice !== null && (
        <div class="notice">
          <Icon name="warning" size={18} />
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
