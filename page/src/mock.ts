import type {
  Bridge,
  BridgeCallbacks,
  BridgeCommand,
  BridgeDictionary,
  BridgeFailure,
  BridgeSuccess,
  BridgeUrl,
  BridgeValue,
} from "./bridge.js";

/**
 * What the mock does with a call. `after` delays it until that promise is settled. `file` is what
 * the page reads at the answered address.
 */
export type MockAnswer = (
  | ({ readonly result: "success" } & BridgeSuccess)
  | ({ readonly result: "error" } & BridgeFailure)
  | { readonly result: "lost"; readonly why: string }
  | { readonly result: "open" }
) & { readonly after?: Promise<unknown>; readonly file?: Blob | undefined };

/** A call that reached the mock. */
export interface MockCall {
  readonly command: BridgeCommand;
  readonly arguments: readonly BridgeValue[];
  /** Whether the client waits no longer. */
  readonly forgotten: boolean;
  /** Answers it now, also when it was answered before or is forgotten. */
  answer(answer: MockAnswer): void;
}

/** A container for unit tests: it gives the answers that were set, and records the calls. */
export interface MockBridge extends Bridge {
  /** Every call so far, the oldest first. */
  readonly calls: readonly MockCall[];
  /**
   * Adds answers for the next calls of that command, one each. A call without an answer fails with
   * the code `bridge`.
   */
  script(command: BridgeCommand, ...answers: MockAnswer[]): void;
}

/** Success with that payload, or with none. */
export function succeed(data?: BridgeDictionary): MockAnswer {
  return { result: "success", data };
}

/**
 * Success with that picture: an address as text or URL, or bytes. `file` is the content of the file
 * at that address, for `toBlob` and `objectUrl`; without it they fail.
 */
export function deliver(callbackURI: BridgeValue, file?: Blob): MockAnswer {
  return { ...succeed({ callbackURI }), file };
}

/** A failure with a plain text, or with a dictionary. */
export function fail(status: string, detail: string | BridgeDictionary): MockAnswer {
  return typeof detail === "string"
    ? { result: "error", status, message: detail }
    : { result: "error", status, data: detail };
}

/** The user backs out of the picker. */
export function cancel(): MockAnswer {
  return fail("NO_PERMISSION", { errorMsg: "no image selected" });
}

/** No answer: the call stays open until its `answer` is called, or for ever. */
export function stayOpen(): MockAnswer {
  return { result: "open" };
}

/** The address that an answer delivers, if any. */
function addressIn(answer: MockAnswer): string | undefined {
  const value = answer.result === "success" ? answer.data?.callbackURI : undefined;
  if (typeof value === "string") return value;
  return (value as BridgeUrl | null | undefined)?.href;
}

function give(answer: MockAnswer, callbacks: BridgeCallbacks): void {
  if (answer.result === "success") callbacks.success(answer);
  else if (answer.result === "error") callbacks.error(answer);
  else if (answer.result === "lost") callbacks.lost(answer.why);
}

export function mockBridge(): MockBridge {
  const calls: MockCall[] = [];
  const scripted = new Map<BridgeCommand, MockAnswer[]>();
  const files = new Map<string, Blob>();
  return {
    calls,
    script(command, ...answers) {
      scripted.set(command, [...(scripted.get(command) ?? []), ...answers]);
    },
    call(command, list, callbacks) {
      let forgotten = false;
      const call: MockCall = {
        command,
        arguments: list,
        get forgotten() {
          return forgotten;
        },
        answer(answer) {
          const address = addressIn(answer);
          if (address != null && answer.file) files.set(address, answer.file);
          const now = () => give(answer, callbacks);
          if (answer.after) answer.after.then(now, now);
          else now();
        },
      };
      calls.push(call);
      call.answer(
        scripted.get(command)?.shift() ?? {
          result: "lost",
          why: `the mock has no answer left for ${command}: add one with script()`,
        },
      );
      return () => {
        forgotten = true;
      };
    },
    readFile(url) {
      const file = files.get(url);
      if (file) return Promise.resolve(file);
      return Promise.reject(new Error(`the mock has no file at ${url}: give it to deliver()`));
    },
  };
}
