import type { DeviceEvent, EventMessage, Json, TraceMessage } from "../../core/messages";
import { isAnswer } from "../../core/messages";
import { textOf } from "../../core/json";
import type { DecodedOptions, PictureOptions } from "./options";

export type Stage =
  | "permission"
  | "alert"
  | "picker"
  | "location"
  | "retrieve"
  | "rotate"
  | "scale"
  | "encode"
  | "deliver"
  | "album"
  | "cleanup"
  | "answer";

export interface TimelineStep {
  stage: Stage;
  label: string;
  /** Milliseconds since the session began. */
  at: number;
  /** Null: still under way, or a moment. */
  ms: number | null;
  /** Whether somebody was waited for: the user, or the sky. */
  waits: boolean;
  bytes?: number;
  width?: number;
  height?: number;
  path?: string;
  error?: string;
}

const permissionNames: Record<string, string> = {
  camera: "camera",
  photoLibrary: "photos",
  location: "location",
};

const traceLabels: Record<string, string> = {
  decode: "Decode",
  encodeJPEG: "Encode JPEG",
  encodePNG: "Encode PNG",
  requestImageData: "Read the original",
  writeFile: "Write file",
  removeFile: "Remove file",
  performChanges: "Save to library",
  export: "Export movie",
  base64: "Base64",
  urlTransformer: "Transform URL",
};

const traceStages: Record<string, Stage> = {
  decode: "retrieve",
  requestImageData: "retrieve",
  encodeJPEG: "encode",
  encodePNG: "encode",
  export: "encode",
  writeFile: "deliver",
  performChanges: "deliver",
  base64: "deliver",
  urlTransformer: "deliver",
  removeFile: "cleanup",
};

/** What the trace says of the step's result, and nothing of what it leaves open. */
const detailsOf = ({ bytes, width, height, path, error }: TraceMessage): Partial<TimelineStep> =>
  Object.fromEntries(
    Object.entries({ bytes, width, height, path, error }).filter(
      ([, value]) => value !== undefined,
    ),
  );

const screenOf = (event: DeviceEvent): { stage: Stage; label: string } => {
  if (event.kind === "alert") return { stage: "alert", label: "Alert" };
  return { stage: "picker", label: event.sourceType === 1 ? "Camera" : "Library" };
};

/** Makes the steps of one command while its messages come by. */
class TimelineBuilder {
  readonly steps: TimelineStep[] = [];
  private readonly open = new Map<string, TimelineStep>();
  private album = false;
  /** When the picker handed a picture over that nothing has been made of yet. */
  private handedOver: number | null = null;
  private upright: boolean;

  constructor(private readonly options: PictureOptions | undefined) {
    this.upright = !options?.correctOrientation;
  }

  event({ event, at }: EventMessage): void {
    const { event: name, kind } = event;
    // Anything that follows a prompt follows its answer.
    if (name !== "prompt")
      for (const key of [...this.open.keys()]) if (key.startsWith("prompt ")) this.end(key, at);
    if (name === "prompt") {
      const label = `Prompt for ${permissionNames[textOf(event.for)] ?? textOf(event.for)}`;
      this.begin(`prompt ${textOf(event.for)}`, "permission", label, at);
    } else if (name === "present") {
      const { stage, label } = screenOf(event);
      this.begin(`screen ${textOf(kind)}`, stage, label, at);
    } else if (name === "dismiss") {
      this.end(`screen ${textOf(kind)}`, at);
      if (kind === "picker") this.handedOver = at;
    } else if (name === "openURL") {
      this.moment("alert", "Opens the settings", at);
    } else if (name === "location") {
      if (event.manager === "start") this.begin("location", "location", "Waits for a fix", at);
      if (event.manager === "stop") this.end("location", at);
    } else if (name === "imageDestination") {
      this.moment("deliver", "Metadata built in, then dropped", at, event.bytes);
    } else if (name === "log") {
      if (event.msg === "saveToPhotoAlbum true") this.album = true;
    } else if (name === "saved") {
      const label = `Saved as ${textOf(event.format).toUpperCase()}`;
      this.moment(this.album ? "album" : "deliver", label, at, event.bytes);
    } else if (isAnswer(event)) {
      const status = event.result === "success" ? "" : (event.status ?? "");
      this.moment("answer", `Answer ${status}`.trim(), at);
    }
  }

  trace(trace: TraceMessage): void {
    const { what, ms } = trace;
    if (what === "localized") return;
    let stage = traceStages[what] ?? "deliver";
    let label = traceLabels[what] ?? what;
    // A picture that is at hand needs no decoding, and is retrieved all the same.
    if (this.handedOver !== null && /^(draw|encode)/.test(what))
      this.moment(
        "retrieve",
        this.options?.allowsEditing ? "The edited picture" : "The original picture",
        this.handedOver,
      );
    this.handedOver = null;
    if (what === "draw") {
      stage = this.upright ? "scale" : "rotate";
      label = this.upright ? "Scale" : "Rotate upright";
      this.upright = true;
    } else if (this.album && (what === "encodePNG" || what === "performChanges")) {
      stage = "album";
    }
    // The message comes at the end of the work.
    this.steps.push({ stage, label, at: trace.at - ms, ms, waits: false, ...detailsOf(trace) });
  }

  private begin(key: string, stage: Stage, label: string, at: number): void {
    const step = { stage, label, at, ms: null, waits: true };
    this.steps.push(step);
    this.open.set(key, step);
  }

  private end(key: string, at: number): void {
    const step = this.open.get(key);
    if (step) step.ms = Math.max(0, at - step.at);
    this.open.delete(key);
  }

  private moment(stage: Stage, label: string, at: number, bytes?: Json): void {
    const step = { stage, label, at, ms: null, waits: false };
    this.steps.push(typeof bytes === "number" ? { ...step, bytes } : step);
  }
}

/** The steps of one command, from the messages of the device. */
export function timelineOf(
  messages: (EventMessage | TraceMessage)[],
  decoded: DecodedOptions | null,
): TimelineStep[] {
  const builder = new TimelineBuilder(decoded?.options);
  for (const message of messages)
    if (message.type === "event") builder.event(message);
    else builder.trace(message);
  return builder.steps;
}
