import { batch, computed, type ReadonlySignal, signal } from "@preact/signals";
import type { Step } from "../../core/messages";
import type { Simulator } from "../../state/Simulator";
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

// What may happen while the settings are open; with anything else the user is back in the app.
const inSettings = new Set(["authorize", "advance", "state", "files", "library"]);

/** This phone as the target of a script, and what takes the media off it in the end. */
function targetOf(
  { client, cue }: Simulator,
  given: ReadonlyMap<string, File>,
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
    cue: (step) => {
      cue.value = step ? { step, media: mediaOf(step) } : null;
    },
    setTimer: (work, milliseconds) => window.setTimeout(work, milliseconds),
    clearTimer: (timer) => window.clearTimeout(timer),
  };
  return {
    target,
    clear: () => {
      cue.value = null;
      for (const url of shown.values()) URL.revokeObjectURL(url);
    },
  };
}

/** The replay of a script on this phone. */
export class Replay {
  private readonly loaded = signal<Loaded | null>(null);
  private readonly playing = signal<{ player: ReplayPlayer; clear: () => void } | null>(null);
  private readonly played = signal<ReplayState | null>(null);

  readonly name = computed(() => this.loaded.value?.name ?? null);
  readonly script = computed(() => this.loaded.value?.script ?? null);
  /** The files that the script names and does not hold, and that were not chosen yet. */
  readonly missing = computed(() => {
    const loaded = this.loaded.value;
    return loaded ? loaded.needed.filter((name) => !loaded.given.has(name)) : [];
  });
  /** Null until a script is loaded and nothing is missing. */
  readonly player = computed(() => this.playing.value?.player ?? null);
  readonly state: ReadonlySignal<ReplayState | null> = this.played;

  constructor(private readonly simulator: Simulator) {}

  /** Rejects with a sentence for the user where the file is no script. */
  async load(file: File): Promise<void> {
    const script = parseScript(await file.text());
    const needed = await filesToAskFor(script);
    this.become({ name: file.name, script, needed, given: new Map() });
  }

  /** Finds the missing files among these, or has the first of them be the one of that name. */
  give(files: File[], as?: string): void {
    const loaded = this.loaded.peek();
    if (!loaded) return;
    const { found, ambiguous } = matchFiles(this.missing.peek(), files);
    if (as !== undefined && files[0]) found.set(as, files[0]);
    else if (ambiguous.length > 0)
      this.simulator.client.store.dispatch({
        kind: "notice",
        text: `${ambiguous.join(" and ")} have the same name: choose each beside it.`,
      });
    if (found.size > 0) this.become({ ...loaded, given: new Map([...loaded.given, ...found]) });
  }

  private become(loaded: Loaded): void {
    const before = this.playing.peek();
    before?.player.rewind();
    before?.clear();
    batch(() => {
      this.loaded.value = loaded;
      this.playing.value = null;
      this.played.value = null;
      if (this.missing.value.length > 0) return;
      const { target, clear } = targetOf(this.simulator, loaded.given);
      const player = new ReplayPlayer(loaded.script, target, (state) => this.onPlayed(state));
      this.playing.value = { player, clear };
      this.played.value = player.state;
    });
  }

  private onPlayed(state: ReplayState): void {
    batch(() => {
      this.played.value = state;
      this.simulator.replaying.value = state.phase === "playing" || state.phase === "paused";
    });
  }
}
