import type {
  ClientRequest,
  DeviceEvent,
  DeviceSetup,
  EventMessage,
  LibraryAsset,
  Step,
} from "../protocol/messages";
import type { Transport } from "../protocol/Transport";
import type { CommandEntry } from "./model";
import { withoutServersOwn } from "./device";
import type { Store } from "./Store";

/** Where a tab keeps what it needs to find its phone again. */
export interface Memory {
  getItem(key: string): string | null;
  setItem(key: string, value: string): void;
}

interface Remembered {
  session: string;
  counter: number;
  settingsOpen: boolean;
  commands: CommandEntry[];
}

const memoryKey = "vecamera.session";

export class StepFailed extends Error {}

/** Speaks for the user and the page: sends requests, and keeps the store up to date. */
export class SimulatorClient {
  private readonly pending = new Map<number, { done(): void; failed(why: Error): void }>();
  private nextId = 1;
  private counter = 0;
  private readonly remembered: Remembered | null;
  private readonly eventListeners = new Set<(event: DeviceEvent, message: EventMessage) => void>();

  constructor(
    readonly store: Store,
    private readonly transport: Transport,
    private readonly memory: Memory,
  ) {
    this.remembered = this.recall();
    this.counter = this.remembered?.counter ?? 0;
    store.subscribe(() => this.remember());
  }

  start(): void {
    this.transport.connect(this.remembered?.session ?? null, {
      status: (status) => {
        this.store.dispatch({ kind: "connection", status });
        if (status.kind === "lost" || status.kind === "ended") this.giveUpPending();
      },
      message: (message) => {
        this.store.dispatch({ kind: "message", message });
        if (message.type === "hello") this.takeUp(message.session);
        if (message.type === "event")
          for (const listener of this.eventListeners) listener(message.event, message);
        if (message.type === "done") this.settle(message.id)?.done();
        if (message.type === "failed") this.settle(message.id)?.failed(new StepFailed(message.why));
      },
    });
  }

  /** Live events only: what a connection tells of the past is not repeated. */
  onEvent(listener: (event: DeviceEvent, message: EventMessage) => void): () => void {
    this.eventListeners.add(listener);
    return () => this.eventListeners.delete(listener);
  }

  /** Plays a step. Rejects with the reason where it could not be played. */
  step(step: Step): Promise<void> {
    if (step.do === "takePicture" || step.do === "cleanup")
      this.store.dispatch({
        kind: "sent",
        name: String(step.as),
        command: step.do,
        arguments: Array.isArray(step.arguments) ? step.arguments : [],
      });
    return this.request({ type: "step", step });
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
    this.counter += 1;
    return `${command === "cleanup" ? "cleanup" : "picture"}${this.counter}`;
  }

  async restart(device: DeviceSetup, keepLibrary = true): Promise<void> {
    const setup = withoutServersOwn(device);
    await this.request({ type: "restart", device: setup, keepLibrary }, () =>
      this.store.dispatch({ kind: "restarted", device: setup }),
    );
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

  private request(request: ClientRequest, onDone?: () => void): Promise<void> {
    const id = this.nextId++;
    return new Promise((resolve, reject) => {
      const done = () => {
        onDone?.();
        resolve();
      };
      this.pending.set(id, { done, failed: reject });
      if (!this.transport.send({ ...request, id })) {
        this.pending.delete(id);
        reject(new Error("The simulator is not connected."));
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
    for (const one of waiting) one.failed(new Error("The connection to the simulator was lost."));
  }

  private takeUp(session: string): void {
    if (this.remembered?.session !== session) return;
    const { commands, settingsOpen } = this.remembered;
    this.store.dispatch({ kind: "remembered", session, commands });
    if (settingsOpen) this.store.dispatch({ kind: "settings", open: true });
    this.remembered.settingsOpen = false;
  }

  private recall(): Remembered | null {
    try {
      const text = this.memory.getItem(memoryKey);
      return text === null ? null : (JSON.parse(text) as Remembered);
    } catch {
      return null;
    }
  }

  private remember(): void {
    const { session, entries, settingsOpen } = this.store.model;
    if (session === null) return;
    const commands = entries.filter((entry): entry is CommandEntry => entry.type === "command");
    const text = JSON.stringify({ session, counter: this.counter, settingsOpen, commands });
    if (text === this.lastMemory) return;
    this.lastMemory = text;
    this.memory.setItem(memoryKey, text);
  }

  private lastMemory = "";
}
