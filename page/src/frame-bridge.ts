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

/** From the parent, over the port: an answer, or that no answer will come any more. */
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
  const [key, only] = entries[0] ?? [];
  if (entries.length === 1 && typeof only === "string") {
    if (key === "bytes") return bytesOfBase64(only);
    if (key === "url") return { href: only };
  }
  return Object.fromEntries(entries.map(([name, each]) => [name, fromWire(each)]));
}

function deliver(message: Exclude<FrameMessage, { lost: string }>, callbacks: BridgeCallbacks) {
  const { result, status = "", message: text, keepCallback = false } = message;
  let data: BridgeDictionary | undefined;
  try {
    data = message.data == null ? undefined : (fromWire(message.data) as BridgeDictionary);
  } catch {
    return callbacks.lost("the answer holds bytes that are not Base64");
  }
  if (result === "success") callbacks.success({ data, keepCallback });
  else callbacks.error({ status, message: text, data, keepCallback });
}

/**
 * The way to a container that shows this page in a frame, as the simulator does.
 *
 * The page says `{vecamera: "hello", version: 1}` to its parent, which answers with
 * `{vecamera: "port"}` and a `MessagePort`; commands and answers then go over the port. Calls wait
 * until the port is there. Only the parent is listened to, whatever its origin: a sandboxed frame
 * cannot know it.
 */
export function frameBridge(page: FramedPage = window): Bridge {
  const open = new Map<number, BridgeCallbacks>();
  const waiting: FrameCall[] = [];
  let port: MessagePort | undefined;
  let lost: string | undefined;
  let lastId = 0;

  const lose = (why: string) => {
    lost = why;
    const callbacks = [...open.values()];
    open.clear();
    for (const each of callbacks) each.lost(why);
  };

  const onAnswer = ({ data: message }: MessageEvent<FrameMessage>) => {
    if ("lost" in message) return lose(message.lost);
    const callbacks = open.get(message.id);
    if (!callbacks) return;
    if (!message.keepCallback) open.delete(message.id);
    deliver(message, callbacks);
  };

  const onMessage = (event: MessageEvent) => {
    if (event.source !== page.parent || event.data?.vecamera !== "port" || !event.ports[0]) return;
    page.removeEventListener("message", onMessage);
    port = event.ports[0];
    port.onmessage = onAnswer;
    // A call that was given up meanwhile must not open a picker.
    for (const call of waiting.splice(0)) if (open.has(call.id)) port.postMessage(call);
  };

  if (page.parent === (page as unknown)) {
    lost = "the page is not inside a frame of the simulator";
  } else {
    page.addEventListener("message", onMessage);
    page.parent.postMessage({ vecamera: "hello", version: 1 }, "*");
  }

  return {
    call(command, list, callbacks) {
      if (lost !== undefined) return callbacks.lost(lost);
      const id = ++lastId;
      const call: FrameCall = { id, command, arguments: list };
      open.set(id, callbacks);
      if (port) port.postMessage(call);
      else waiting.push(call);
      return () => open.delete(id);
    },
  };
}
