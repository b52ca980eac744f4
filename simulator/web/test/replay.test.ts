import { beforeEach, describe, expect, it } from "vitest";
import type { Step } from "../src/core/messages";
import {
  ReplayPlayer,
  type ReplayState,
  type ReplayTarget,
  watchingTime,
} from "../src/features/replay/ReplayPlayer";
import {
  fileOfDataUrl,
  filesToAskFor,
  matchFiles,
  parseScript,
  withFiles,
} from "../src/features/replay/script";

class HeldTarget implements ReplayTarget {
  readonly log: string[] = [];
  readonly cues: (string | null)[] = [];
  failing: string | null = null;
  /** Where set, a step is under way until it is called. */
  release: ((why?: Error) => void) | null = null;
  holding = false;
  private readonly timers = new Map<number, { work: () => void; milliseconds: number }>();
  private nextTimer = 1;

  async restart(): Promise<void> {
    this.log.push("restart");
  }
  async step(step: Step): Promise<void> {
    if (step.do === this.failing) throw new Error("there is no picker on screen");
    this.log.push(step.do);
    if (!this.holding) return;
    this.holding = false;
    await new Promise<void>((resolve, reject) => {
      this.release = (why) => (why ? reject(why) : resolve());
    });
  }
  cue(step: Step | null): void {
    this.cues.push(step?.do ?? null);
  }
  setTimer(work: () => void, milliseconds: number): number {
    this.timers.set(this.nextTimer, { work, milliseconds });
    return this.nextTimer++;
  }
  clearTimer(timer: number): void {
    this.timers.delete(timer);
  }
  get waits(): number[] {
    return [...this.timers.values()].map(({ milliseconds }) => milliseconds);
  }
  /** Lets the time pass that is waited for. */
  async pass(): Promise<void> {
    const [first] = this.timers;
    if (!first) return;
    this.timers.delete(first[0]);
    first[1].work();
    await new Promise((resolve) => setImmediate(resolve));
  }
}

describe("ReplayPlayer", () => {
  const steps: Step[] = [{ do: "takePicture" }, { do: "advance" }, { do: "capture" }];
  let target: HeldTarget;
  let states: ReplayState[];
  let player: ReplayPlayer;

  beforeEach(() => {
    target = new HeldTarget();
    states = [];
    player = new ReplayPlayer({ device: {}, steps }, target, (state) => states.push(state));
  });

  it("plays every step in order on a device made anew, at watching speed", async () => {
    player.play();
    await target.pass();
    expect(target.waits).toEqual([watchingTime({ do: "takePicture" })]);
    await target.pass();
    expect(target.waits).toEqual([0]);
    await target.pass();
    player.setSpeed(4);
    expect(target.waits).toEqual([watchingTime({ do: "capture" }) / 4]);
    await target.pass();
    expect(target.log).toEqual(["restart", "takePicture", "advance", "capture"]);
    expect(player.state).toMatchObject({ phase: "finished", next: 3, total: 3 });
    expect(target.waits).toEqual([]);
  });

  it("shows each step before it plays it", async () => {
    player.play();
    await target.pass();
    await target.pass();
    expect(target.cues.filter((cue) => cue !== null)).toEqual(["takePicture", "advance"]);
  });

  it("pauses between steps and goes on from there", async () => {
    player.play();
    await target.pass();
    await target.pass();
    player.pause();
    expect(target.waits).toEqual([]);
    expect(target.cues.at(-1)).toBeNull();
    player.play();
    await target.pass();
    expect(target.log).toEqual(["restart", "takePicture", "advance"]);
  });

  it("plays one step at a time", async () => {
    await player.stepOnce();
    await player.stepOnce();
    expect(target.log).toEqual(["restart", "takePicture", "advance"]);
    expect(player.state).toMatchObject({ phase: "paused", next: 2 });
    await player.stepOnce();
    expect(player.state.phase).toBe("finished");
    await player.stepOnce();
    expect(target.log).toHaveLength(4);
  });

  it("stops at a step that cannot be played, and says which and why", async () => {
    target.failing = "capture";
    player.play();
    for (let i = 0; i < 5; i++) await target.pass();
    expect(player.state).toMatchObject({
      phase: "failed",
      next: 2,
      why: "Step 2 (capture): there is no picker on screen",
    });
    player.play();
    expect(player.state.phase).toBe("failed");
  });

  it("plays again from the beginning", async () => {
    for (let i = 0; i < 3; i++) await player.stepOnce();
    player.play();
    await target.pass();
    expect(target.log.at(-1)).toBe("restart");
    expect(player.state.next).toBe(0);
    player.rewind();
    expect(player.state.phase).toBe("ready");
  });
});

describe("a replay that is rewound while a step is under way", () => {
  const steps: Step[] = [{ do: "takePicture" }, { do: "capture" }];
  const settled = () => new Promise((resolve) => setImmediate(resolve));
  let target: HeldTarget;
  let states: ReplayState[];
  let player: ReplayPlayer;

  beforeEach(() => {
    target = new HeldTarget();
    states = [];
    player = new ReplayPlayer({ device: {}, steps }, target, (state) => states.push(state));
    target.holding = true;
    void player.stepOnce();
    return settled();
  });

  it.each([["succeeds"], ["fails"]])("begins at the first step, where that one %s", async (how) => {
    player.rewind();
    target.release?.(how === "fails" ? new Error("too late") : undefined);
    await settled();
    expect(player.state).toMatchObject({ phase: "ready", next: 0, why: null });
    for (let step = 0; step < 2; step++) await player.stepOnce();
    expect(target.log).toEqual(["restart", "takePicture", "restart", "takePicture", "capture"]);
    expect(player.state.phase).toBe("finished");
  });

  it("plays on by itself as soon as that one has ended", async () => {
    player.rewind();
    player.play();
    expect(target.waits).toEqual([]);
    target.release?.();
    await settled();
    for (let i = 0; i < 3; i++) await target.pass();
    expect(target.log).toEqual(["restart", "takePicture", "restart", "takePicture", "capture"]);
  });
});

describe("parseScript", () => {
  it.each([
    ["no JSON", "{", /not JSON/],
    ["no object", "[]", /no list of steps/],
    ["no steps", '{"device": {}}', /no list of steps/],
    ["a step without a deed", '{"steps": [{"do": "cancel"}, {}]}', /steps\[1\]/],
    ["a device that is no object", '{"device": 1, "steps": []}', /device/],
  ])("refuses %s", (_, text, why) => {
    expect(() => parseScript(text)).toThrow(why);
  });

  it("takes a script without a device", () => {
    expect(parseScript('{"steps": [{"do": "cancel"}]}')).toEqual({
      device: {},
      steps: [{ do: "cancel" }],
    });
  });
});

describe("a script's files", () => {
  const script = {
    device: { library: [{ id: "1", file: "beach.jpg" }], locale: "en_US" },
    steps: [
      { do: "capture", photo: "data:image/png;base64,AAAA" },
      { do: "capture", movie: "flows/walk.mp4", crop: [0, 0, 1, 1] },
      { do: "addAsset", file: "beach.jpg" },
      { do: "remove", file: "velmora_photo_1.jpg" },
    ] as Step[],
  };

  it("asks for those that it names and does not hold, each once", async () => {
    expect(await filesToAskFor(script)).toEqual(["flows/walk.mp4", "beach.jpg"]);
  });

  it("knows chosen files by their names, where those differ", () => {
    const files = [{ name: "x.jpg" }, { name: "walk.mp4" }, { name: "other.jpg" }];
    const { found, ambiguous } = matchFiles(["a/x.jpg", "b/x.jpg", "flows/walk.mp4"], files);
    expect([...found]).toEqual([["flows/walk.mp4", { name: "walk.mp4" }]]);
    expect(ambiguous).toEqual(["a/x.jpg", "b/x.jpg"]);
  });

  it("replaces media, and not the names of temporary files", async () => {
    const replaced = await withFiles(script, async (file) => `media/${file.length}`);
    expect(replaced.device.library).toEqual([{ id: "1", file: "media/9" }]);
    expect(replaced.steps[1]).toEqual({ do: "capture", movie: "media/14", crop: [0, 0, 1, 1] });
    expect(replaced.steps[3]).toEqual(script.steps[3]);
  });

  it("makes bytes of a data URL", async () => {
    const { bytes, name } = fileOfDataUrl(
      `data:video/webm;codecs=vp8;base64,${btoa("\x00\xffab")}`,
    );
    expect(name).toBe("media.webm");
    expect([...new Uint8Array(await bytes.arrayBuffer())]).toEqual([0, 255, 97, 98]);
  });
});
