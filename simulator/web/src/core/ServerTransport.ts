import type { ClientRequest, LibraryAsset, ServerMessage } from "./messages";
import type { Transport, TransportListener } from "./Transport";

const firstDelay = 250;
const maxDelayMs = 4000;
/** The server ends a connection that brings it a longer message. */
const maxMessageBytes = 1024 * 1024;

/** The request as the server takes it. Throws a sentence for the user where it takes none so long. */
export function messageText(request: ClientRequest & { id: number }): string {
  const text = JSON.stringify(request);
  const { length } = new TextEncoder().encode(text);
  if (length > maxMessageBytes)
    throw new Error(
      `This is a message of ${length} bytes, and the simulator takes ${maxMessageBytes} at most.`,
    );
  return text;
}

/** The server that handed out this page. A lost connection is made again, to the same session. */
export class ServerTransport implements Transport {
  private socket: WebSocket | null = null;
  private delay = firstDelay;
  private ended = false;
  private serverAppOrigin = "";
  private open: () => void = () => undefined;

  /** `appOrigin`: where the app is reached, where that is not what the server says. */
  constructor(
    private readonly base: URL,
    private readonly appOrigin?: string,
  ) {}

  connect(session: string | null, listener: TransportListener): void {
    let current = session;
    const open = () => {
      this.ended = false;
      listener.onStatus({ kind: "connecting" });
      const address = new URL("ws", this.base);
      address.protocol = this.base.protocol === "https:" ? "wss:" : "ws:";
      if (current !== null) address.searchParams.set("session", current);
      const socket = new WebSocket(address);
      this.socket = socket;
      socket.onopen = () => {
        this.delay = firstDelay;
        listener.onStatus({ kind: "open" });
      };
      socket.onmessage = (received: MessageEvent<string>) => {
        const message = JSON.parse(this.withOwnOrigin(received.data)) as ServerMessage;
        if (message.type === "hello") current = message.session;
        if (message.type === "bye") {
          this.ended = true;
          listener.onStatus({ kind: "ended", why: message.why });
        }
        listener.onMessage(message);
      };
      socket.onclose = () => {
        // Another one was opened where the phone was taken back.
        if (this.socket !== socket) return;
        this.socket = null;
        if (this.ended) return;
        listener.onStatus({ kind: "lost" });
        setTimeout(open, this.delay);
        this.delay = Math.min(this.delay * 2, maxDelayMs);
      };
    };
    this.open = open;
    open();
  }

  reconnect(): void {
    if (this.ended) this.open();
  }

  send(request: ClientRequest & { id: number }): void {
    if (this.socket?.readyState !== WebSocket.OPEN)
      throw new Error("The simulator is not connected.");
    this.socket.send(messageText(request));
  }

  async upload(
    session: string,
    bytes: Blob,
    name: string,
  ): Promise<{ file: string; bytes: number }> {
    const address = this.address(session, "media");
    address.searchParams.set("name", name);
    return this.ask(await fetch(address, { method: "POST", body: bytes }));
  }

  async library(session: string): Promise<LibraryAsset[]> {
    const answer = await fetch(this.address(session, "library"));
    return (await this.ask<{ assets: LibraryAsset[] }>(answer)).assets;
  }

  thumbnail(session: string, asset: string, side: number): string {
    const address = this.address(session, "library/thumbnail");
    address.searchParams.set("id", asset);
    address.searchParams.set("side", String(side));
    return address.href;
  }

  original(session: string, asset: string): string {
    const address = this.address(session, "library/original");
    address.searchParams.set("id", asset);
    return address.href;
  }

  file(session: string, name: string): string {
    return this.address(session, `files/${name.split("/").map(encodeURIComponent).join("/")}`).href;
  }

  script(session: string): string {
    return this.address(session, "script").href;
  }

  /** The message with the app where it is reached, in addresses of files as well. */
  private withOwnOrigin(text: string): string {
    const { appOrigin } = this;
    if (appOrigin === undefined) return text;
    const hello = JSON.parse(text) as ServerMessage;
    if (hello.type === "hello") this.serverAppOrigin = hello.appOrigin;
    return this.serverAppOrigin ? text.replaceAll(this.serverAppOrigin, appOrigin) : text;
  }

  private address(session: string, rest: string): URL {
    return new URL(`session/${encodeURIComponent(session)}/${rest}`, this.base);
  }

  private async ask<T>(response: Response): Promise<T> {
    const body = (await response.json().catch(() => ({}))) as T & { error?: string };
    if (!response.ok) throw new Error(body.error ?? `The server answered ${response.status}.`);
    return body;
  }
}
