import { once } from "node:events";
import { createServer } from "node:http";
import type { AddressInfo } from "node:net";
import { type WebSocket, WebSocketServer } from "ws";
import type { Simulator } from "../src/simulator.js";

export const emptyState = {
  screen: [],
  prompts: [],
  permissions: {},
  callbacks: [],
  files: [],
  location: { running: false },
  waiting: null,
  broken: null,
};

type Request = { id: number; type: string } & Record<string, unknown>;

/** A simulator's server as a driver sees it; the test sends its messages. */
export class FakeSimulator {
  readonly requests: Request[] = [];
  readonly uploads: { name: string; text: string }[] = [];
  /** What it answers a request; without a text, that it was carried out. */
  refuse: (request: Request) => string | null = () => null;
  private socket: WebSocket | undefined;

  private constructor(
    private readonly sockets: WebSocketServer,
    private readonly port: number,
  ) {
    sockets.on("connection", (socket) => {
      this.socket = socket;
      this.send({ type: "hello", session: "s", app: "", appOrigin: "", messages: [] });
      this.send({ type: "state", ...emptyState });
      socket.on("message", (data: Buffer) => {
        const request = JSON.parse(data.toString()) as Request;
        this.requests.push(request);
        const why = this.refuse(request);
        if (why === null) this.send({ type: "done", id: request.id });
        else this.send({ type: "failed", id: request.id, why, code: "notPlayable" });
      });
    });
  }

  static async start(): Promise<FakeSimulator> {
    const server = createServer();
    const sockets = new WebSocketServer({ server });
    server.listen(0, "127.0.0.1");
    await once(server, "listening");
    return new FakeSimulator(sockets, (server.address() as AddressInfo).port);
  }

  /** As `Phone.open` takes it. */
  asSimulator(): Simulator {
    const socket = `ws://127.0.0.1:${this.port}/`;
    return {
      makePhone: async () => ({ session: "s", page: "", socket, appOrigin: "" }),
      upload: async (_session: string, bytes: Uint8Array, name: string) => {
        this.uploads.push({ name, text: Buffer.from(bytes).toString() });
        return `media/${this.uploads.length}`;
      },
    } as unknown as Simulator;
  }

  send(message: object): void {
    this.socket?.send(JSON.stringify(message));
  }
  state(changes: object): void {
    this.send({ type: "state", ...emptyState, ...changes });
  }
  event(n: number, event: object): void {
    this.send({ type: "event", n, step: 0, event });
  }
  drop(): void {
    this.socket?.terminate();
  }
  steps(): unknown[] {
    return this.requests.map(({ step }) => step);
  }
  async stop(): Promise<void> {
    this.socket?.terminate();
    this.sockets.close();
  }
}
