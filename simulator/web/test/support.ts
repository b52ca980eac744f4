import type { CommandEntry } from "../src/core/model";
import type {
  ClientRequest,
  DeviceEvent,
  DeviceState,
  EventMessage,
  HelloMessage,
  Json,
  ServerMessage,
  TraceMessage,
} from "../src/core/messages";
import type { Transport, TransportListener } from "../src/core/Transport";

/** Numbers and times what it is given, as a server does. */
export class Stream {
  private n = 0;
  constructor(private at = 0) {}

  later(milliseconds: number): this {
    this.at += milliseconds;
    return this;
  }

  event(event: DeviceEvent): EventMessage {
    return { type: "event", n: this.n++, at: this.at, step: 0, event };
  }

  trace(what: string, ms: number, more: Partial<TraceMessage> = {}): TraceMessage {
    this.at += ms;
    return { type: "trace", n: this.n++, at: this.at, step: 0, what, ms, ...more };
  }

  command(name: string, args: Json[] = [], command = "takePicture"): CommandEntry {
    return { type: "command", n: this.n - 0.5, name, command, arguments: args };
  }
}

export const picker = (sourceType = 1, more: DeviceEvent | object = {}): DeviceEvent => ({
  event: "present",
  kind: "picker",
  sourceType,
  mediaTypes: ["public.image"],
  allowsEditing: false,
  cameraDevice: 0,
  cameraCaptureMode: "photo",
  animated: true,
  ...more,
});

export const dismissed: DeviceEvent = { event: "dismiss", kind: "picker", animated: true };

export const success = (to: string, callbackURI?: Json): DeviceEvent => ({
  event: "answer",
  to,
  result: "success",
  data: callbackURI === undefined ? {} : { callbackURI },
  keepCallback: false,
});

export const stateOf = (changes: Partial<DeviceState> = {}): DeviceState => ({
  screen: [],
  prompts: [],
  permissions: { camera: "authorized", photoLibrary: "authorized", location: "authorized" },
  callbacks: [],
  files: [],
  faults: [],
  clock: { mode: "real", now: "2026-05-01T12:00:00Z" },
  location: { running: false },
  library: 0,
  waiting: null,
  recorded: 0,
  recordingEnded: null,
  broken: null,
  automatic: { automation: "on" },
  ...changes,
});

export const hello = (changes: Partial<HelloMessage> = {}): HelloMessage => ({
  type: "hello",
  session: "s1",
  version: 1,
  app: "http://127.0.0.1:2/.vecamera/enter?token=t",
  appOrigin: "http://127.0.0.1:2",
  device: {},
  messages: [],
  unfinished: 0,
  ...changes,
});

/** A server that the test plays. */
export class HeldTransport implements Pick<Transport, "connect" | "send"> {
  session: string | null | undefined;
  listener!: TransportListener;
  readonly sent: (ClientRequest & { id: number })[] = [];
  connected = true;

  connect(session: string | null, listener: TransportListener): void {
    this.session = session;
    this.listener = listener;
  }
  send(request: ClientRequest & { id: number }): void {
    if (!this.connected) throw new Error("The simulator is not connected.");
    this.sent.push(request);
  }
  deliver(...messages: ServerMessage[]): void {
    for (const message of messages) this.listener.onMessage(message);
  }
  /** The server's reply to the request that was sent as that, from 0. */
  reply(index: number, why?: string): void {
    const id = this.sent[index]?.id ?? -1;
    this.deliver(why === undefined ? { type: "done", id } : { type: "failed", id, why });
  }
  breakOff(): void {
    this.connected = false;
    this.listener.onStatus({ kind: "lost" });
  }
}
