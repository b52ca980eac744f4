import { useEffect, useMemo, useRef, useState } from "preact/hooks";
import type { SimulatorClient } from "../model/SimulatorClient";
import type { Step } from "../protocol/messages";
import { type Simulator, useSimulator } from "../ui/context";
import { ReplayPlayer, type ReplayState, type ReplayTarget } from "./ReplayPlayer";
import {
  baseName,
  type DeviceScript,
  fileOfDataUrl,
  filesToAskFor,
  isDataUrl,
  matchFiles,
  parseScript,
  withFiles,
} from "./script";

interface Loaded {
  name: string;
  script: DeviceScript;
  needed: string[];
  given: Map<string, File>;
}

/** The replay of a script. Lives as long as the inspector, whichever tab of it is shown. */
export interface Replay {
  name: string | null;
  script: DeviceScript | null;
  /** The files that the script names and does not hold, and that were not chosen yet. */
  missing: string[];
  /** Null until a script is loaded and nothing is missing. */
  player: ReplayPlayer | null;
  state: ReplayState | null;
  load(file: File): Promise<void>;
  /** Finds the missing files among these, or has this file be the one of that name. */
  give(files: File[], as?: string): void;
}

// What may happen while the settings are open; with anything else the user is back in the app.
const inSettings = new Set(["authorize", "advance", "state", "files", "library"]);

/** This phone as the target of a script, and what takes the media off it in the end. */
function targetOf(
  client: SimulatorClient,
  setCue: Simulator["setCue"],
  given: Map<string, File>,
): { target: ReplayTarget; clear: () => void } {
  const shown = new Map<string, string>();
  const blobOf = (file: string): { bytes: Blob; name: string } => {
    if (isDataUrl(file)) return fileOfDataUrl(file);
    const bytes = given.get(file);
    if (!bytes) throw new Error(`The file ${file} was not chosen.`);
    return { bytes, name: baseName(file) };
  };
  const upload = async (file: string) => {
    const { bytes, name } = blobOf(file);
    return (await client.upload(bytes, name)).file;
  };
  const mediaOf = (step: Step): string | null => {
    const file = step.photo ?? step.movie;
    if (step.do !== "capture" || typeof file !== "string") return null;
    const url = shown.get(file) ?? URL.createObjectURL(blobOf(file).bytes);
    shown.set(file, url);
    return url;
  };
  const target: ReplayTarget = {
    restart: async (device) => {
      const { device: ready } = await withFiles({ device, steps: [] }, upload);
      await client.restart(ready, false);
    },
    step: async (step) => {
      if (!inSettings.has(step.do)) client.store.dispatch({ kind: "settings", open: false });
      const { steps } = await withFiles({ device: {}, steps: [step] }, upload);
      if (steps[0]) await client.step(steps[0]);
    },
    cue: (step) => setCue(step ? { step, media: mediaOf(step) } : null),
    setTimer: (work, milliseconds) => window.setTimeout(work, milliseconds),
    clearTimer: (timer) => window.clearTimeout(timer),
  };
  return {
    target,
    clear: () => {
      setCue(null);
      for (const url of shown.values()) URL.revokeObjectURL(url);
    },
  };
}

export function useReplay(): Replay {
  const { client, setCue, setReplaying } = useSimulator();
  const [loaded, setLoaded] = useState<Loaded | null>(null);
  const [state, setState] = useState<ReplayState | null>(null);
  const player = useRef<ReplayPlayer | null>(null);
  const missing = useMemo(
    () => loaded?.needed.filter((name) => !loaded.given.has(name)) ?? [],
    [loaded],
  );

  useEffect(() => {
    if (!loaded || missing.length > 0) return;
    const { target, clear } = targetOf(client, setCue, loaded.given);
    const made = new ReplayPlayer(loaded.script, target, (next) => {
      setState(next);
      setReplaying(next.phase === "playing" || next.phase === "paused");
    });
    player.current = made;
    setState(made.state);
    return () => {
      made.rewind();
      player.current = null;
      setState(null);
      clear();
    };
  }, [loaded]);

  const load = async (file: File) => {
    const script = parseScript(await file.text());
    setLoaded({
      name: file.name,
      script,
      needed: await filesToAskFor(script),
      given: new Map(),
    });
  };
  const give = (files: File[], as?: string) => {
    if (!loaded) return;
    const { found, ambiguous } = matchFiles(missing, files);
    if (as !== undefined && files[0]) found.set(as, files[0]);
    else if (ambiguous.length > 0)
      client.store.dispatch({
        kind: "notice",
        text: `${ambiguous.join(" and ")} have the same name: choose each beside it.`,
      });
    if (found.size > 0) setLoaded({ ...loaded, given: new Map([...loaded.given, ...found]) });
  };
  return {
    name: loaded?.name ?? null,
    script: loaded?.script ?? null,
    missing,
    player: player.current,
    state,
    load,
    give,
  };
}
