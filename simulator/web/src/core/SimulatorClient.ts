import { effect } from "@preact/signals-core";
import { isPageCommand } from "./pageCommands";
import type {
  ClientRequest,
  DeviceEvent,
  DeviceSetup,
  EventMessage,
  HelloMessage,
  LibraryAsset,
  OpenCallback,
  Step,
  TraceMessage,
} from "./messages";
import type { Transport } from "./Transport";
import { changedDevice, type DeviceChanges, withoutServerOwned } from "./device";
import { textOf } from "./json";
import type { CommandEntry } from "./model";
import { storageFull, type TabStorage, tryStore } from "./storage";
import type { Store } from "./Store";

interface Remembered {
  session: string;
  counter: number;
  settingsOpen: boolean;
  commands: CommandEntry[];
}

const storageKey = "vecamera.session";

/** Whether what was asked for came to pass is not known. */
export class ConnectionLost extends Error {}

/** Notified of what happens on the phone as it happens, and not through the store. */
export interface PhoneListener {
  /** Each event once: as it comes, or after a reconnection. */
  onEvent?(event: DeviceEvent): void;
  /** The connection is broken. */
  onLost?(): void;
  /** Connected again, to the same phone, which now has these callbacks open. */
  onReconnected?(callbacks: OpenCallback[]): void;
  /** The phone has ended for good. */
  onEnded?(why: string): void;
}

/** Speaks for the user and the page: sends requests, and keeps the store up to date. */
export class SimulatorClient {
  private readonly pending = new Map<number, { resolve(): void; reject(why: Error): void }>();
  // A reply that an earlier page of this tab no longer took comes here, and must fit no request.
  private nextId = Math.floor(Math.random() * 2 ** 32) * 2 ** 20;
  private counter = 0;
  private readonly remembered: Remembered | null;
  private readonly listeners = new Set<PhoneListener>();
  /** The phone whose messages were handled, and the number of the last. */
  private handled = { session: "", n: -1 };
  /** What shows that the phone has carried out all that it was asked before it was lost. */
  private awaited: "state" | "reply" | null = null;
  private lastStored = "";
  private remembering = false;

  constructor(
    readonly store: Store,
    private readonly transport: Transport,
    private readonly storage: TabStorage,
  ) {
    this.remembered = this.recall();
    this.counter = this.remembered?.counter ?? 0;
    const { session, entries, settingsOpen } = store.signals;
    effect(() => {
      void [session.value, entries.value, settingsOpen.value];
      this.rememberSoon();
    });
  }

  /** Connects: to that session's phone, to the one that this tab had, or to a new one. */
  start(session: string | null = null): void {
    this.transport.connect(session ?? this.remembered?.session ?? null, {
      onStatus: (status) => {
        this.store.dispatch({ kind: "connection", status });
        if (status.kind !== "lost" && status.kind !== "ended") return;
        this.giveUpPending();
        for (const listener of this.listeners)
          if (status.kind === "lost") listener.onLost?.();
          else listener.onEnded?.(status.why);
      },
      onMessage: (message) => {
        this.store.dispatch({ kind: "message", message });
        switch (message.type) {
          case "hello":
            this.restore(message.session);
            this.catchUp(message);
            break;
          case "event":
          case "trace":
            this.handle(message);
            break;
          case "state":
            this.onShown("state");
            break;
          case "done":
            this.onShown("reply");
            this.settle(message.id)?.resolve();
            break;
          case "failed":
            this.onShown("reply");
            this.settle(message.id)?.reject(new Error(message.why));
            break;
          case "restarted":
          case "progress":
          case "reload":
          case "bye":
            break;
        }
      },
    });
  }

  /** After the end of the phone: takes it back, or begins with a new one where it is gone. */
  reconnect(): void {
    this.transport.reconnect();
  }

  /** Notifies the listener until what it returns is called. */
  listen(listener: PhoneListener): () => void {
    this.listeners.add(listener);
    return () => this.listeners.delete(listener);
  }

  /** Plays a step. Rejects with the reason where it could not be played. */
  async step(step: Step): Promise<void> {
    const isCommand = isPageCommand(step.do);
    const name = textOf(step.as);
    if (isCommand)
      this.store.dispatch({
        kind: "sent",
        name,
        command: step.do,
        arguments: Array.isArray(step.arguments) ? step.arguments : [],
      });
    try {
      await this.request({ type: "step", step });
    } catch (error) {
      if (isCommand && !(error instanceof ConnectionLost))
        this.store.dispatch({ kind: "refused", name, why: (error as Error).message });
      throw error;
    }
  }

  /** Plays a step for a control; a refusal becomes the notice on the page. */
  async act(step: Step): Promise<boolean> {
    return this.noticing(() => this.step(step));
  }

  async noticing(work: () => Promise<unknown>): Promise<boolean> {
    try {
      await work();
      return true;
    } catch (error) {
      this.store.dispatch({ kind: "notice", text: (error as Error).message });
      return false;
    }
  }

  /** A name for a command's callback that no other command of the session has. */
  nextName(command: string): string {
    const { entries, state } = this.store.model;
    // A script that was replayed brings names of its own.
    const taken = new Set(state?.callbacks.map(({ name }) => name));
    for (const entry of entries) if (entry.type === "command") taken.add(entry.name);
    let name: string;
    do {
      this.counter += 1;
      name = `${command === "takePicture" ? "picture" : command}${this.counter}`;
    } while (taken.has(name));
    return name;
  }

  restart(device: DeviceSetup, keepLibrary = true): Promise<void> {
    return this.request({ type: "restart", device: withoutServerOwned(device), keepLibrary });
  }

  /** Restarts the device with some of it changed; a refusal becomes the notice on the page. */
  async change(changes: DeviceChanges): Promise<void> {
    const { device, state } = this.store.model;
    if (state) await this.noticing(() => this.restart(changedDevice(device, state, changes)));
  }

  restoreSamples(): Promise<void> {
    return this.request({ type: "restoreSamples" });
  }

  upload(bytes: Blob, name: string): Promise<{ file: string; bytes: number }> {
    return this.transport.upload(this.session(), bytes, name);
  }

  library(): Promise<LibraryAsset[]> {
    return this.transport.library(this.session());
  }

  thumbnail(asset: string, side: number): string {
    return this.transport.thumbnail(this.session(), asset, side);
  }

  original(asset: string): string {
    return this.transport.original(this.session(), asset);
  }

  file(name: string): string {
    return this.transport.file(this.session(), name);
  }

  script(): string {
    return this.transport.script(this.session());
  }

  private session(): string {
    const { session } = this.store.model;
    if (session === null) throw new Error("The simulator is not connected.");
    return session;
  }

  private request(request: ClientRequest): Promise<void> {
    const id = this.nextId++;
    return new Promise((resolve, reject) => {
      this.pending.set(id, { resolve, reject });
      try {
        // The server reads the name of a request first, and can then refuse the rest by it.
        this.transport.send({ id, ...request });
      } catch (error) {
        this.pending.delete(id);
        reject(error as Error);
      }
    });
  }

  private settle(id: number) {
    const waiting = this.pending.get(id);
    this.pending.delete(id);
    return waiting;
  }

  private giveUpPending(): void {
    const waiting = [...this.pending.values()];
    this.pending.clear();
    for (const one of waiting)
      one.reject(new ConnectionLost("The connection to the simulator was lost."));
  }

  /** The listeners are not notified of the past of a phone that is new to this page. */
  private catchUp({ session, messages, unfinished }: HelloMessage): void {
    if (session === this.handled.session) {
      messages.forEach((message) => this.handle(message));
      // Requests are carried out in their order, so the reply to a new one comes after the old.
      this.awaited = unfinished > 0 ? "reply" : "state";
    } else {
      this.handled = { session, n: messages.at(-1)?.n ?? -1 };
      this.awaited = null;
    }
  }

  private onShown(shownBy: "state" | "reply"): void {
    const { state } = this.store.model;
    if (this.awaited !== shownBy || !state) return;
    this.awaited = null;
    for (const listener of this.listeners) listener.onReconnected?.(state.callbacks);
  }

  private handle(message: EventMessage | TraceMessage): void {
    if (message.n <= this.handled.n) return;
    this.handled.n = message.n;
    if (message.type === "event")
      for (const listener of this.listeners) listener.onEvent?.(message.event);
  }

  private restore(session: string): void {
    if (this.remembered?.session !== session) return;
    const { commands, settingsOpen } = this.remembered;
    this.store.dispatch({ kind: "remembered", session, commands });
    if (settingsOpen) this.store.dispatch({ kind: "settings", open: true });
    this.remembered.settingsOpen = false;
  }

  private recall(): Remembered | null {
    try {
      const text = this.storage.getItem(storageKey);
      return text === null ? null : (JSON.parse(text) as Remembered);
    } catch {
      return null;
    }
  }

  /** Once for all changes of one moment. */
  private rememberSoon(): void {
    if (this.remembering) return;
    this.remembering = true;
    queueMicrotask(() => {
      this.remembering = false;
      this.remember();
    });
  }

  private remember(): void {
    const { session, entries, settingsOpen } = this.store.model;
    if (session === null) return;
    const commands = entries.filter((entry): entry is CommandEntry => entry.type === "command");
    const text = JSON.stringify({ session, counter: this.counter, settingsOpen, commands });
    if (text === this.lastStored) return;
    this.lastStored = text;
    if (tryStore(this.storage, storageKey, text)) return;
    // Arguments can be long. The phone is found again without them.
    const short = JSON.stringify({ session, counter: this.counter, settingsOpen, commands: [] });
    tryStore(this.storage, storageKey, short);
    this.store.dispatch({ kind: "note", text: storageFull });
  }
}
