import { expect } from "vitest";

export const appOrigin = "http://127.0.0.1:4000";

/** The app's page, in the frame. */
export class FakePage {
  port: MessagePort | null = null;
  readonly received: unknown[] = [];
  postMessage(data: unknown, origin: string, ports: MessagePort[]): void {
    expect(data).toEqual({ vecamera: "port" });
    expect(origin).toBe(appOrigin);
    this.port = ports[0] ?? null;
    if (this.port) this.port.onmessage = (event) => this.received.push(event.data);
  }
}

/** The simulator's window, around the frame. */
export class FakeWindow {
  private listener: ((event: MessageEvent) => void) | null = null;
  addEventListener(_: string, listener: (event: MessageEvent) => void): void {
    this.listener = listener;
  }
  removeEventListener(): void {
    this.listener = null;
  }
  post(data: unknown, source: unknown, origin: string): void {
    this.listener?.({ data, source, origin } as MessageEvent);
  }
}

// Ports deliver in tasks of their own.
export const delivered = async (ready: () => boolean) => {
  while (!ready()) await new Promise((resolve) => setImmediate(resolve));
};
