import type { BridgeDictionary } from "./bridge.js";

/**
 * Why a call failed:
 *
 * - `plugin`: the plug-in answered with a failure; `status` is set.
 * - `badOption`: an option is out of range, and nothing was sent.
 * - `busy`: another picture is being taken, and nothing was sent.
 * - `replaced`: a later call with `replacePending` took the place of this one.
 * - `aborted`: the `signal` was aborted; `cause` is its reason.
 * - `timedOut`: there was no answer within the `timeLimit`.
 * - `bridge`: the container could not be reached, or its answer not be understood.
 */
export type CameraErrorCode =
  "plugin" | "badOption" | "busy" | "replaced" | "aborted" | "timedOut" | "bridge";

export interface CameraErrorDetails {
  readonly status?: string | number | undefined;
  readonly data?: BridgeDictionary | undefined;
  readonly cause?: unknown;
}

/** Every failure of `takePicture` and `cleanup`. */
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
  get cancelled(): boolean {
    return this.code === "plugin" && this.message === "no image selected";
  }
}
