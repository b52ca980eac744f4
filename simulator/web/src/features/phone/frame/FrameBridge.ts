import { isPageCommand, pageCommands } from "../../../core/pageCommands";
import type { AnswerEvent } from "../../../core/messages";
import { type PageMessage, pageMessageOf } from "../../../core/pageMessages";

/** What is used of a window, so that the bridge can be tested without one. */
export interface MessageSource {
  addEventListener(type: "message", listener: (event: MessageEvent) => void): void;
  removeEventListener(type: "message", listener: (event: MessageEvent) => void): void;
}

export interface FrameBridgeOptions {
  listenTo: MessageSource;
  /** The window of the app's frame, as it is now. */
  frame: () => Window | null;
  appOrigin: () => string;
  /** Runs a page command and gives its callback's name. Its arguments are whatever a port can carry. */
  run: (command: string, args: unknown[]) => string;
  /** Notified of what the script in the page reports. */
  onPageMessage?: ((message: PageMessage) => void) | undefined;
}

interface PageCall {
  id: number;
  command?: unknown;
  arguments?: unknown;
}

/** Without an id there is nobody to answer. */
const isPageCall = (data: unknown): data is PageCall =>
  typeof (data as Partial<PageCall> | null)?.id === "number";

/** Why the plug-in cannot be called so, or nothing. */
const problemWith = ({ command, arguments: args }: PageCall): string | undefined => {
  if (!isPageCommand(command)) {
    const name = typeof command === "string" ? JSON.stringify(command) : "without a name";
    return `The plug-in has no command ${name}: it has ${Object.keys(pageCommands).join(" and ")}.`;
  }
  return Array.isArray(args) ? undefined : `The arguments of ${command} are a list.`;
};

/** Speaks with the app's page: takes its commands, and hands their answers back. */
export class FrameBridge {
  private readonly waiting = new Map<string, { port: MessagePort; id: number }>();
  /** Those of them that may not have reached the phone. */
  private readonly uncertain = new Set<string>();
  private port: MessagePort | null = null;

  constructor(private readonly options: FrameBridgeOptions) {
    options.listenTo.addEventListener("message", this.onMessage);
  }

  close(): void {
    this.options.listenTo.removeEventListener("message", this.onMessage);
    this.port?.close();
    this.port = null;
    this.waiting.clear();
    this.uncertain.clear();
  }

  /** True where the answer was for the page that is in the frame now. */
  answer(event: AnswerEvent): boolean {
    const call = this.waiting.get(event.to);
    if (!call) return false;
    if (event.keepCallback !== true) this.waiting.delete(event.to);
    const { event: _, to: __, ...answer } = event;
    call.port.postMessage({ id: call.id, ...answer });
    return true;
  }

  /** Notifies the page that this call did not reach the plug-in. True where it waited for it. */
  fail(name: string, why: string): boolean {
    const call = this.waiting.get(name);
    if (!call) return false;
    this.waiting.delete(name);
    call.port.postMessage({ id: call.id, result: "error", message: why });
    return true;
  }

  /** The connection to the phone is broken: what is under way may have reached it, or not. */
  markUncertain(): void {
    for (const name of this.waiting.keys()) this.uncertain.add(name);
  }

  /** The phone has been asked: of the uncertain calls, only these are open. Fails the others. */
  resolveUncertain(open: ReadonlySet<string>, why: string): string[] {
    const failed = [...this.uncertain].filter((name) => !open.has(name) && this.fail(name, why));
    this.uncertain.clear();
    return failed;
  }

  /** Notifies the page that nothing it waits for will come, nor anything else. */
  disconnect(why: string): void {
    this.waiting.clear();
    this.port?.postMessage({ lost: why });
  }

  private readonly onMessage = (event: MessageEvent) => {
    if (event.source === null || event.source !== this.options.frame()) return;
    if (event.origin !== this.options.appOrigin()) return;
    const reported = pageMessageOf(event.data);
    if (reported) return this.options.onPageMessage?.(reported);
    const data = event.data as { vecamera?: unknown; version?: unknown } | null;
    if (data?.vecamera !== "hello" || data.version !== 1) return;
    // A page that says hello again has been loaded anew, and what it waited for is gone with it.
    // Where it is the same page after all, the holder of the old port is notified.
    this.disconnect("The page said hello again, and only the newest connection is spoken to.");
    this.port?.close();
    const { port1, port2 } = new MessageChannel();
    this.port = port1;
    port1.onmessage = (message: MessageEvent) => {
      if (!isPageCall(message.data)) return;
      const { id, command, arguments: args } = message.data;
      const problem = problemWith(message.data);
      if (problem) port1.postMessage({ id, result: "error", message: problem });
      else this.waiting.set(this.options.run(command as string, args as unknown[]), { port: port1, id });
    };
    event.source.postMessage({ vecamera: "port" }, event.origin, [port2]);
  };
}
