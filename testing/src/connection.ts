import { WebSocket } from "ws";
import { PhoneError } from "./errors.js";
import type { ClientRequest, ServerMessage } from "./messages.js";

/** A driver's connection to a phone. */
export class Connection {
  private readonly pending = new Map<
    number,
    { resolve: () => void; reject: (error: PhoneError) => void }
  >();
  private nextId = 0;
  private ended: PhoneError | null = null;

  private constructor(
    private readonly socket: WebSocket,
    private readonly onMessage: (message: ServerMessage) => void,
    private readonly onEnd: (error: PhoneError) => void,
  ) {
    // One buffer for each message.
    socket.on("message", (data: Buffer) =>
      this.receive(JSON.parse(data.toString()) as ServerMessage),
    );
    socket.on("close", () =>
      this.end(new PhoneError("the simulator has closed the connection", "closed")),
    );
    socket.on("error", (error) => this.end(new PhoneError(error.message, "closed")));
  }

  /** Connects. `onMessage` takes every message but replies; `onEnd` is called once, at the end. */
  static async open(
    address: string,
    onMessage: (message: ServerMessage) => void,
    onEnd: (error: PhoneError) => void,
  ): Promise<Connection> {
    const socket = new WebSocket(address, ["vecamera.2"], { maxPayload: 0 });
    // The first message may come with the handshake, so somebody listens before that.
    const connection = new Connection(socket, onMessage, onEnd);
    await new Promise<void>((resolve, reject) => {
      socket.once("open", resolve);
      socket.once("error", (error) =>
        reject(new PhoneError(`the simulator cannot be reached: ${error.message}`, "closed")),
      );
    });
    return connection;
  }

  /** Resolves when the request was carried out, and its messages were handed over. */
  request(request: ClientRequest): Promise<void> {
    if (this.ended) return Promise.reject(this.ended);
    const id = this.nextId++;
    return new Promise((resolve, reject) => {
      this.pending.set(id, { resolve, reject });
      this.socket.send(JSON.stringify({ id, ...request }));
    });
  }

  close(): void {
    this.end(new PhoneError("the driver's connection was closed", "closed"));
    this.socket.close();
  }

  private receive(message: ServerMessage): void {
    if (message.type === "bye") this.end(new PhoneError(message.why, message.code ?? "bye"));
    else if (message.type === "done" || message.type === "failed") {
      const waiting = this.pending.get(message.id);
      this.pending.delete(message.id);
      if (message.type === "done") waiting?.resolve();
      else waiting?.reject(new PhoneError(message.why, message.code ?? "failed"));
    } else this.onMessage(message);
  }

  private end(error: PhoneError): void {
    if (this.ended) return;
    this.ended = error;
    for (const { reject } of this.pending.values()) reject(error);
    this.pending.clear();
    this.onEnd(error);
  }
}
