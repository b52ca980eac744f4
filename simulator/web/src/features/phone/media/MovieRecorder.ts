import type { Viewfinder } from "./viewfinder";

// The first that the browser can record. All of them can be read on the device.
const formats = [
  { type: "video/webm;codecs=vp8,opus", extension: "webm" },
  { type: "video/webm", extension: "webm" },
  { type: "video/mp4", extension: "mp4" },
];

/** How often the browser hands over what it has recorded. */
const partMs = 250;

export interface Movie {
  blob: Blob;
  name: string;
}

/** Records one movie from a viewfinder. The microphone is on no longer than the recording lasts. */
export class MovieRecorder {
  private readonly parts: Blob[] = [];
  private recorder: MediaRecorder | null = null;
  private extension = "";
  private dropped = false;
  private hasPart: () => void = () => undefined;
  private readonly firstPart = new Promise<void>((resolve) => (this.hasPart = resolve));
  private finish: () => void = () => undefined;
  private readonly finished = new Promise<void>((resolve) => (this.finish = resolve));

  /**
   * Opens the microphone, which may ask, and begins; the first picture may take its time on a busy
   * machine. False where it was dropped meanwhile.
   */
  async start(viewfinder: Pick<Viewfinder, "movie">): Promise<boolean> {
    const format = formats.find(({ type }) => MediaRecorder.isTypeSupported(type));
    if (!format) throw new Error("This browser cannot record movies.");
    const { stream, release } = await viewfinder.movie();
    if (this.dropped) {
      release();
      return false;
    }
    try {
      const options = { mimeType: format.type, videoBitsPerSecond: 4_000_000 };
      const recorder = new MediaRecorder(stream, options);
      recorder.ondataavailable = (event) => {
        if (event.data.size === 0) return;
        this.parts.push(event.data);
        this.hasPart();
      };
      // It also stops by itself, where what it records ends.
      recorder.onstop = () => {
        release();
        this.finish();
      };
      recorder.start(partMs);
      this.recorder = recorder;
      this.extension = format.extension;
      // Before it no movie could be made of what there is.
      await Promise.race([this.firstPart, this.finished]);
      return !this.dropped;
    } catch (error) {
      release();
      throw error;
    }
  }

  /** Ends the recording, unless it has ended by itself. Only once it has started. */
  async stop(): Promise<Movie> {
    this.end();
    await this.finished;
    const blob = new Blob(this.parts, { type: this.recorder?.mimeType ?? "" });
    return { blob, name: `movie.${this.extension}` };
  }

  /** Ends without a movie, also where it has not started yet. */
  drop(): void {
    this.dropped = true;
    this.end();
  }

  private end(): void {
    if (this.recorder && this.recorder.state !== "inactive") this.recorder.stop();
  }
}
