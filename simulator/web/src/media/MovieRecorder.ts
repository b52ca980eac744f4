import type { Viewfinder } from "./viewfinder";

// The first that the browser can record. All of them can be read on the device.
const formats = [
  { type: "video/webm;codecs=vp8,opus", extension: "webm" },
  { type: "video/webm", extension: "webm" },
  { type: "video/mp4", extension: "mp4" },
];

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
  private finish: () => void = () => {};
  private readonly finished = new Promise<void>((resolve) => (this.finish = resolve));

  /** Opens the microphone, which may ask, and begins. False where it was dropped meanwhile. */
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
        if (event.data.size > 0) this.parts.push(event.data);
      };
      // It also stops by itself, where what it records ends.
      recorder.onstop = () => {
        release();
        this.finish();
      };
      recorder.start(1000);
      this.recorder = recorder;
      this.extension = format.extension;
      return true;
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
