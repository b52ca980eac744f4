import { afterEach, beforeEach, describe, expect, it, vi } from "vitest";
import type { ServerMessage } from "../src/core/messages";
import { ServerTransport } from "../src/core/ServerTransport";
import type { TransportStatus } from "../src/core/Transport";
import { hello } from "./support";

/** The browser's WebSocket, whose server is the test. */
class FakeSocket {
  static readonly all: FakeSocket[] = [];
  onopen: () => void = () => undefined;
  onmessage: (event: { data: string }) => void = () => undefined;
  onclose: () => void = () => undefined;

  constructor(readonly address: URL) {
    FakeSocket.all.push(this);
  }
  deliver(message: ServerMessage): void {
    this.onmessage({ data: JSON.stringify(message) });
  }
}

describe("ServerTransport", () => {
  const base = new URL("http://127.0.0.1:1/secret/");
  let statuses: TransportStatus["kind"][];
  let messages: ServerMessage[];
  const socket = (index: number) => FakeSocket.all[index]!;
  const connect = (appOrigin?: string) => {
    const transport = new ServerTransport(base, appOrigin);
    transport.connect(null, {
      onStatus: ({ kind }) => void statuses.push(kind),
      onMessage: (message) => void messages.push(message),
    });
    return transport;
  };

  beforeEach(() => {
    vi.useFakeTimers();
    vi.stubGlobal("WebSocket", FakeSocket);
    FakeSocket.all.length = 0;
    statuses = [];
    messages = [];
  });
  afterEach(() => {
    vi.useRealTimers();
    vi.unstubAllGlobals();
  });

  it("connects a lost connection again, to the same phone", () => {
    connect();
    socket(0).deliver(hello());
    socket(0).onclose();
    vi.runAllTimers();
    expect(statuses).toEqual(["connecting", "lost", "connecting"]);
    expect(socket(1).address.searchParams.get("session")).toBe("s1");
  });

  it.each(["before", "after"])(
    "takes a phone back once, its old connection closed %s that",
    (order) => {
      const transport = connect();
      socket(0).deliver(hello());
      transport.reconnect();
      socket(0).deliver({ type: "bye", why: "this phone was opened in another tab" });
      if (order === "before") socket(0).onclose();
      vi.runAllTimers();
      expect(FakeSocket.all).toHaveLength(1);
      transport.reconnect();
      transport.reconnect();
      if (order === "after") socket(0).onclose();
      vi.runAllTimers();
      expect(FakeSocket.all).toHaveLength(2);
      expect(socket(1).address.searchParams.get("session")).toBe("s1");
      expect(statuses).toEqual(["connecting", "ended", "connecting"]);
    },
  );

  it("names the app by where it is reached in development, in every message", () => {
    connect("http://127.0.0.1:9");
    const event = { event: "stdout", text: "http://127.0.0.1:2/.vecamera/files/t/a.jpg" };
    socket(0).deliver(hello());
    socket(0).deliver({ type: "event", n: 0, at: 0, step: 0, event });
    expect(messages).toMatchObject([
      { app: "http://127.0.0.1:9/.vecamera/enter?token=t", appOrigin: "http://127.0.0.1:9" },
      { event: { text: "http://127.0.0.1:9/.vecamera/files/t/a.jpg" } },
    ]);
  });
});
