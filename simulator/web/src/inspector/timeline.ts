import type { EventMessage, TraceMessage } from "../protocol/messages";
import type { DecodedOptions } from "./options";

export type Stage =
  | "permission"
  | "alert"
  | "picker"
  | "location"
  | "retrieve"
  | "turn"
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
  draw: "Draw",
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

const bare = (trace: TraceMessage) => {
  const { bytes, width, height, path, error } = trace;
  return Object.fromEntries(
    Object.entries({ bytes, width, height, path, error }).filter(
      ([, value]) => value !== undefined,
    ),
  ) as Partial<TimelineStep>;
};

/** The steps of one command, from the messages of the device. */
export function timelineOf(
  messages: (EventMessage | TraceMessage)[],
  decoded: DecodedOptions | null,
): TimelineStep[] {
  const steps: TimelineStep[] = [];
  const open = new Map<string, TimelineStep>();
  let album = false;
  // When the picker handed a picture over that nothing has been made of yet.
  let handedOver: number | null = null;
  let turned = !decoded?.options.correctOrientation;

  const begin = (key: string, step: Omit<TimelineStep, "ms" | "waits">) => {
    const begun = { ...step, ms: null, waits: true };
    steps.push(begun);
    open.set(key, begun);
  };
  const end = (key: string, at: number) => {
    const step = open.get(key);
    if (step) step.ms = Math.max(0, at - step.at);
    open.delete(key);
  };

  const onEvent = ({ event, at }: EventMessage) => {
    // Anything that follows a prompt follows its answer.
    if (event.event !== "prompt")
      for (const key of [...open.keys()]) if (key.startsWith("prompt ")) end(key, at);
    switch (event.event) {
      case "prompt":
        begin(`prompt ${event.for}`, {
          stage: "permission",
          label: `Prompt for ${permissionNames[String(event.for)] ?? event.for}`,
          at,
        });
        break;
      case "present":
        begin(`screen ${event.kind}`, {
          stage: event.kind === "alert" ? "alert" : "picker",
          label: event.kind === "alert" ? "Alert" : event.sourceType === 1 ? "Camera" : "Library",
          at,
        });
        break;
      case "dismiss":
        end(`screen ${event.kind}`, at);
        if (event.kind === "picker") handedOver = at;
        break;
      case "openURL":
        steps.push({ stage: "alert", label: "Opens the settings", at, ms: null, waits: false });
        break;
      case "location":
        if (event.manager === "start")
          begin("location", { stage: "location", label: "Waits for a fix", at });
        if (event.manager === "stop") end("location", at);
        break;
      case "imageDestination":
        steps.push({
          stage: "deliver",
          label: "Metadata built in, then dropped",
          at,
          ms: null,
          waits: false,
          ...(typeof event.bytes === "number" ? { bytes: event.bytes } : {}),
        });
        break;
      case "log":
        if (event.msg === "saveToPhotoAlbum true") album = true;
        break;
      case "saved":
        steps.push({
          stage: album ? "album" : "deliver",
          label: `Saved as ${String(event.format).toUpperCase()}`,
          at,
          ms: null,
          waits: false,
          ...(typeof event.bytes === "number" ? { bytes: event.bytes } : {}),
        });
        break;
      case "answer":
        steps.push({
          stage: "answer",
          label: event.result === "success" ? "Answer" : `Answer ${event.status ?? ""}`.trim(),
          at,
          ms: null,
          waits: false,
        });
        break;
    }
  };

  const onTrace = (trace: TraceMessage) => {
    if (trace.what === "localized") return;
    let stage = traceStages[trace.what] ?? "deliver";
    // A picture that is at hand needs no decoding, and is retrieved all the same.
    if (handedOver !== null && stage !== "retrieve" && /^(draw|encode)/.test(trace.what))
      steps.push({
        stage: "retrieve",
        label: decoded?.options.allowsEditing ? "The edited picture" : "The original picture",
        at: handedOver,
        ms: null,
        waits: false,
      });
    handedOver = null;
    if (trace.what === "draw") {
      stage = turned ? "scale" : "turn";
      turned = true;
    } else if (album && (trace.what === "encodePNG" || trace.what === "performChanges")) {
      stage = "album";
    }
    const label =
      trace.what === "draw"
        ? stage === "turn"
          ? "Turn upright"
          : "Scale"
        : (traceLabels[trace.what] ?? trace.what);
    // The message comes at the end of the work.
    steps.push({
      stage,
      label,
      at: trace.at - trace.ms,
      ms: trace.ms,
      waits: false,
      ...bare(trace),
    });
  };

  for (const message of messages)
    if (message.type === "event") onEvent(message);
    else onTrace(message);
  return steps;
}
