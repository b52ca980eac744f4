import { createHash } from "node:crypto";
import { createServer, type IncomingMessage, type Server } from "node:http";
import type { AddressInfo } from "node:net";
import type { Duplex } from "node:stream";

/** A short text message of a WebSocket's server. */
function frameOf(text: string): Buffer {
  const bytes = Buffer.from(text);
  return Buffer.concat([Buffer.from([0x81, bytes.length]), bytes]);
}

/**
 * A development server as page developers have one: it shows one page at every address, answers to no
 * other host and origin than its own, and sends changes to the page over a WebSocket.
 */
export class TestDevServer {
  text = "first";
  private server: Server | undefined;
  private readonly sockets = new Set<Duplex>();
  port = 0;

  get origin(): string {
    return `http://localhost:${this.port}`;
  }

  /** On the port that it had before, where it had one. */
  async start(): Promise<void> {
    const server = createServer((request, response) => {
      if (!this.isOwn(request)) {
        response.writeHead(403).end("a stranger");
        return;
      }
      if (request.url === "/leave") {
        response.writeHead(302, { Location: "http://login.example/?next=app" }).end();
        return;
      }
      response.writeHead(200, {
        "Content-Type": "text/html",
        "X-Frame-Options": "DENY",
        "Content-Security-Policy": "script-src 'unsafe-inline'; frame-ancestors 'none'",
      });
      response.end(this.page());
    });
    server.on("upgrade", (request, socket) => {
      if (!this.isOwn(request)) {
        socket.destroy();
        return;
      }
      const key = `${request.headers["sec-websocket-key"]}258EAFA5-E914-47DA-95CA-C5AB0DC85B11`;
      const accept = createHash("sha1").update(key).digest("base64");
      socket.write(
        "HTTP/1.1 101 Switching Protocols\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n" +
          `Sec-WebSocket-Accept: ${accept}\r\n\r\n`,
      );
      this.sockets.add(socket);
      socket.on("close", () => this.sockets.delete(socket));
      socket.on("error", () => socket.destroy());
    });
    await new Promise<void>((resolve) => server.listen(this.port, "localhost", resolve));
    this.port = (server.address() as AddressInfo).port;
    this.server = server;
  }

  async stop(): Promise<void> {
    for (const socket of this.sockets) socket.destroy();
    this.server?.closeAllConnections();
    await new Promise((resolve) => this.server?.close(resolve));
  }

  /** As when the developer saves a file: the page takes the new text, and is not loaded anew. */
  change(text: string): void {
    this.text = text;
    for (const socket of this.sockets) socket.write(frameOf(text));
  }

  private isOwn({ headers }: IncomingMessage): boolean {
    const { host, origin } = headers;
    return host === `localhost:${this.port}` && (!origin || origin === this.origin);
  }

  private page(): string {
    return `<!doctype html><html lang="en"><head><title>App</title></head><body>
      <h1>Ready</h1>
      <p id="text">${this.text}</p>
      <button id="count">0</button>
      <button id="deeper">Deeper</button>
      <button id="fail">Fail</button>
      <p id="address"></p>
      <a href="/leave">Leave</a>
      <script>
        const show = () => { address.textContent = location.pathname + location.search + location.hash; };
        count.onclick = () => { count.textContent = Number(count.textContent) + 1; };
        deeper.onclick = () => { history.pushState(null, "", "/deep/er?x=1#y"); show(); };
        fail.onclick = () => { setTimeout(() => { throw new Error("the page's own"); }); };
        new WebSocket("ws://" + location.host + "/hot").onmessage = ({ data }) => {
          text.textContent = data;
        };
        show();
      </script></body></html>`;
  }
}
