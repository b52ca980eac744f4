import type {
  Bridge,
  BridgeCallbacks,
  BridgeCommand,
  BridgeDictionary,
  BridgeValue,
} from "./bridge.js";
import { bytesOfBase64 } from "./bytes.js";

/** The parts of a `Window` that the bridge needs. */
export interface FramedPage {
  readonly parent: { postMessage(message: unknown, targetOrigin: string): void };
  addEventListener(type: "message", listener: (event: MessageEvent) => void): void;
  removeEventListener(type: "message", listener: (event: MessageEvent) => void): void;
}

/** From the page to its parent, over the port. */
export interface FrameCall {
  readonly id: number;
  readonly command: BridgeCommand;
  readonly arguments: readonly BridgeValue[];
}

/**
 * From the parent, over the port: an answer, or that no answer will come any more. An error without
 * a `status` is the parent's own word for one call: it did not reach the plug-in.
 */
export type FrameMessage =
  | {
      readonly id: number;
      readonly result: "success" | "error";
      readonly status?: string | number;
      readonly message?: string;
      readonly data?: unknown;
      readonly keepCallback?: boolean;
    }
  | { readonly lost: string };

/** JSON has no bytes and no URLs: they come as objects with one key. */
function fromWire(value: unknown): BridgeValue {
  if (Array.isArray(value)) return value.map(fromWire);
  if (typeof value !== "object" || value === null) return value as BridgeValue;
  const entries = Object.entries(value);
  if (entries.length === 1) {
    const { bytes, url } = value as { bytes?: unknown; url?: unknown };
    if (typeof bytes === "string") return bytesOfBase64(bytes);
    if (typeof url === "string") return { href: url };
  }
  return Object.fromEntries(entries.map(([name, each]) => [name, fromWire(each)]));
}

function deliver(message: Exclude<FrameMessage, { lost: string }>, callbacks: BridgeCallbacks) {
  const { result, status, message: text } = message;
  let data: BridgeDictionary | undefined;
  try {
    data = fromWire(message.data ?? undefined) as BridgeDictionary | undefined;
  } catch {
    return callbacks.lost("the answer holds no Base64");
  }
  if (result === "success") callbacks.success({ ...message, data });
  else if (status == null) callbacks.lost(text ?? "refused");
  else callbacks.error({ ...message, status, data });
}

/**
 * The connection to a container that shows this page in a frame, as the simulator does.
 *
 * The page says `{vecamera: "hello", version: 1}` to its parent, which answers with
 * `{vecamera: "port"}` and a `MessagePort`; commands and answers then go over the port. Calls wait
 * until the port is there. Only the parent is listened to, whatever its origin: a sandboxed frame
 * cannot know it.
 */
export function frameBridge(page: FramedPage = window): Bridge {
  const open = new Map<number, BridgeCallbacks>();
  let lost: string | undefined;
  let lastId = 0;

  const lose = (why: string) => {
    lost = why;
    open.forEach((callbacks) => callbacks.lost(why));
    open.clear();
  };

  const onAnswer = ({ data: message }: MessageEvent<FrameMessage>) => {
    if ("lost" in message) return lose(message.lost);
    const callbacks = open.get(message.id);
    if (!message.keepCallback) open.delete(message.id);
    if (callbacks) deliver(message, callbacks);
  };

  const ready = new Promise<MessagePort>((given) => {
    const onMessage = (event: MessageEvent<{ vecamera?: unknown } | null>) => {
      const port = event.ports[0];
      if (event.source !== page.parent || event.data?.vecamera !== "port" || !port) return;
      // Another bridge of this page waits for a port of its own.
      event.stopImmediatePropagation();
      page.removeEventListener("message", onMessage);
      port.onmessage = onAnswer;
      given(port);
    };
    page.addEventListener("message", onMessage);
  });

  if (page.parent === (page as unknown)) lose("the page is not inside a frame of the simulator");
  else page.parent.postMessage({ vecamera: "hello", version: 1 }, "*");

  return {
    call(command, list, callbacks) {
      if (lost != null) return callbacks.lost(lost);
      const id = ++lastId;
      const call: FrameCall = { id, command, arguments: list };
      open.set(id, callbacks);
      ready
        // A call that was given up meanwhile must not open a picker.
        .then((port) => open.has(id) && port.postMessage(call))
        .catch(() => {
          // A function among the arguments, for example, cannot be passed on.
          open.delete(id);
          callbacks.lost("the arguments cannot be sent");
        });
      return () => open.delete(id);
    },
  };
}
