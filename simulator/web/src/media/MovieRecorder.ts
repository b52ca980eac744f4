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

/** Records one movie from a viewfinder. */
export class MovieRecorder {
  private readonly parts: Blob[] = [];

  private constructor(
    private readonly recorder: MediaRecorder,
    private readonly extension: string,
    private readonly release: () => void,
  ) {
    recorder.ondataavailable = (event) => {
      if (event.data.size > 0) this.parts.push(event.data);
    };
    recorder.start(1000);
  }

  static async start(viewfinder: Viewfinder): Promise<MovieRecorder> {
    const format = formats.find(({ type }) => MediaRecorder.isTypeSupported(type));
    if (!format) throw new Error("This browser cannot record movies.");
    const { stream, release } = await viewfinder.movie();
    const options = { mimeType: format.type, videoBitsPerSecond: 4_000_000 };
    return new MovieRecorder(new MediaRecorder(stream, options), format.extension, release);
  }

  stop(): Promise<Movie> {
    return new Promise((resolve) => {
      this.recorder.onstop = () => {
        this.release();
        const blob = new Blob(this.parts, { type: this.recorder.mimeType });
        resolve({ blob, name: `movie.${this.extension}` });
      };
      this.recorder.stop();
    });
  }

  /** Ends without a movie. */
  drop(): void {
    this.recorder.onstop = null;
    if (this.recorder.state !== "inactive") this.recorder.stop();
    this.release();
  }
}
