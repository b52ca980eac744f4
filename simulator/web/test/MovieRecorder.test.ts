import { afterEach, beforeEach, describe, expect, it, vi } from "vitest";
import { MovieRecorder } from "../src/features/phone/media/MovieRecorder";

/** The browser's recorder, in the test's hand. */
class FakeRecorder {
  static newest: FakeRecorder;
  /** Whether the browser is too busy to record anything at once. */
  static busy = false;
  static failing: "constructor" | "start" | null = null;
  static isTypeSupported = (type: string) => type === "video/webm";
  state = "inactive";
  ondataavailable: (event: { data: Blob }) => void = () => {};
  onstop: () => void = () => {};

  constructor(
    _: MediaStream,
    readonly options: { mimeType: string },
  ) {
    if (FakeRecorder.failing === "constructor") throw new Error("not this stream");
    FakeRecorder.newest = this;
  }
  get mimeType(): string {
    return this.options.mimeType;
  }
  start(): void {
    if (FakeRecorder.failing === "start") throw new Error("not this stream");
    this.state = "recording";
    if (FakeRecorder.busy) return;
    queueMicrotask(() => this.record("mov"));
  }
  stop(): void {
    if (this.state === "inactive") throw new Error("it does not record");
    this.state = "inactive";
    this.record("ing");
    queueMicrotask(() => this.onstop());
  }
  record(part: string): void {
    this.ondataavailable({ data: new Blob([part]) });
  }
}

describe("MovieRecorder", () => {
  /** How many microphones are on. */
  let open: number;
  let allow: () => void;
  let recorder: MovieRecorder;
  const viewfinder = {
    movie: () =>
      new Promise<{ stream: MediaStream; release(): void }>((resolve) => {
        allow = () => {
          open += 1;
          resolve({ stream: {} as MediaStream, release: () => (open -= 1) });
        };
      }),
  };
  const start = () => {
    const started = recorder.start(viewfinder);
    allow();
    return started;
  };

  beforeEach(() => {
    vi.stubGlobal("MediaRecorder", FakeRecorder);
    FakeRecorder.failing = null;
    FakeRecorder.busy = false;
    open = 0;
    recorder = new MovieRecorder();
  });
  afterEach(() => void vi.unstubAllGlobals());

  it("has the microphone on as long as it records", async () => {
    expect(await start()).toBe(true);
    expect(open).toBe(1);
    const { blob, name } = await recorder.stop();
    expect([name, blob.type, await blob.text()]).toEqual(["movie.webm", "video/webm", "moving"]);
    expect(open).toBe(0);
  });

  it("releases a microphone that was allowed only after it was dropped", async () => {
    const started = recorder.start(viewfinder);
    recorder.drop();
    allow();
    expect(await started).toBe(false);
    expect(open).toBe(0);
  });

  it.each(["constructor", "start"] as const)("releases it where the %s fails", async (where) => {
    FakeRecorder.failing = where;
    await expect(start()).rejects.toThrow("not this stream");
    expect(open).toBe(0);
  });

  it("releases it, once, where it is dropped", async () => {
    await start();
    recorder.drop();
    recorder.drop();
    await Promise.resolve();
    expect(open).toBe(0);
  });

  it("has begun with the first part of the movie", async () => {
    FakeRecorder.busy = true;
    let begun = false;
    const started = start().then((recording) => (begun = recording));
    await new Promise((resolve) => setImmediate(resolve));
    FakeRecorder.newest.record("");
    await new Promise((resolve) => setImmediate(resolve));
    expect(begun).toBe(false);
    FakeRecorder.newest.record("mov");
    expect(await started).toBe(true);
  });

  it("has not begun where it was dropped before the first part", async () => {
    FakeRecorder.busy = true;
    const started = start();
    await new Promise((resolve) => setImmediate(resolve));
    recorder.drop();
    expect(await started).toBe(false);
    expect(open).toBe(0);
  });

  it("has its movie also where it ended by itself", async () => {
    await start();
    FakeRecorder.newest.stop();
    await Promise.resolve();
    expect(open).toBe(0);
    expect((await recorder.stop()).blob.size).toBeGreaterThan(0);
  });
});
