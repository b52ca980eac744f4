import type {
  Bridge,
  BridgeCommand,
  BridgeDictionary,
  BridgeFailure,
  BridgeValue,
} from "./bridge.js";
import { CameraError } from "./camera-error.js";
import { type CallOptions, abortReason } from "./options.js";

/** One command that was sent. It is answered once at most. */
export interface Call {
  readonly answer: Promise<BridgeDictionary | undefined>;
  isOpen(): boolean;
  /** Fails the call with that error, if it is still open. */
  giveUp(error: unknown): void;
}

function failureOf({ status, message, data }: BridgeFailure): CameraError {
  const errorMsg = data?.errorMsg;
  const text = message ?? (typeof errorMsg === "string" ? errorMsg : data && JSON.stringify(data));
  return new CameraError("plugin", text ?? String(status), { status, data });
}

export function startCall(
  bridge: Bridge,
  command: BridgeCommand,
  list: readonly BridgeValue[],
  { signal, timeout }: CallOptions,
): Call {
  let open = true;
  let forget: (() => void) | void;
  let timer: ReturnType<typeof setTimeout> | undefined;
  let resolve!: (data: BridgeDictionary | undefined) => void;
  let reject!: (error: unknown) => void;
  const answer = new Promise<BridgeDictionary | undefined>((whenAnswered, whenFailed) => {
    resolve = whenAnswered;
    reject = whenFailed;
  });

  /** The first end of the call counts. */
  const end = (settle: () => void) => {
    if (!open) return;
    open = false;
    clearTimeout(timer);
    signal?.removeEventListener("abort", abort);
    forget?.();
    settle();
  };
  const giveUp = (error: unknown) => end(() => reject(error));
  const abort = () => giveUp(abortReason(signal as AbortSignal));

  signal?.addEventListener("abort", abort);
  if (timeout != null)
    timer = setTimeout(
      () => giveUp(new CameraError("timedOut", `no answer within ${timeout} ms`)),
      timeout,
    );
  try {
    forget = bridge.call(command, list, {
      success: ({ data }) => end(() => resolve(data)),
      error: (failure) => giveUp(failureOf(failure)),
      lost: (why) => giveUp(new CameraError("bridge", why)),
    });
    if (!open) forget?.();
  } catch (cause) {
    giveUp(new CameraError("bridge", "the container cannot be reached", { cause }));
  }
  return { answer, isOpen: () => open, giveUp };
}
