import type { BridgeDictionary } from "./bridge.js";

/**
 * Why an operation failed:
 *
 * - `plugin`: the plug-in answered with a failure; `status` is set.
 * - `badOption`: an option is out of range, and nothing was sent.
 * - `busy`: another picture is being taken, and nothing was sent.
 * - `replaced`: a later call with `replacePending` took the place of this one.
 * - `timedOut`: there was no answer within the `timeout`.
 * - `bridge`: the container could not be reached, or its answer not be understood.
 * - `unreadable`: the content of a picture could not be read; `cause` says why.
 */
export type CameraErrorCode =
  "plugin" | "badOption" | "busy" | "replaced" | "timedOut" | "bridge" | "unreadable";

export interface CameraErrorDetails {
  readonly status?: string | number | undefined;
  readonly data?: BridgeDictionary | undefined;
  readonly cause?: unknown;
}

/** Every failure of the client but an abort, which fails with the reason of its signal. */
export class CameraError extends Error {
  override readonly name = "CameraError";
  readonly code: CameraErrorCode;
  /** The container's status, for example "NO_PERMISSION", where `code` is `plugin`. */
  readonly status: string | number | undefined;
  /** The payload of the plug-in's failure, where it came with one. */
  readonly data: BridgeDictionary | undefined;

  constructor(code: CameraErrorCode, message: string, details: CameraErrorDetails = {}) {
    super(message, details);
    this.code = code;
    this.status = details.status;
    this.data = details.data;
  }

  /**
   * Whether the user backed out. The plug-in answers that with the same status as a refused
   * permission, "NO_PERMISSION"; only the message differs.
   */
  get canceled(): boolean {
    return this.code === "plugin" && this.message === "no image selected";
  }

  /** @deprecated The same as `canceled`, which is spelled as in the web's standards. */
  get cancelled(): boolean {
    return this.canceled;
  }
}
