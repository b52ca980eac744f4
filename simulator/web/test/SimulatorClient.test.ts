import { beforeEach, describe, expect, it } from "vitest";
import { SimulatorClient } from "../src/model/SimulatorClient";
import { Store } from "../src/model/Store";
import type { ClientRequest, ServerMessage } from "../src/protocol/messages";
import type { Transport, TransportListener } from "../src/protocol/Transport";
import { hello, picker, Stream } from "./support";

class HeldTransport implements Pick<Transport, "connect" | "send"> {
  session: string | null | undefined;
  listener!: TransportListener;
  readonly sent: (ClientRequest & { id: number })[] = [];
  connected = true;

  connect(session: string | null, listener: TransportListener): void {
    this.session = session;
    this.listener = listener;
  }
  send(request: ClientRequest & { id: number }): boolean {
    if (this.connected) this.sent.push(request);
    return this.connected;
  }
  tell(message: ServerMessage): void {
    this.listener.message(message);
  }
}

const memoryOf = (items: Map<string, string>) => ({
  getItem: (key: string) => items.get(key) ?? null,
  setItem: (key: string, value: string) => void items.set(key, value),
});

describe("SimulatorClient", () => {
  let transport: HeldTransport;
  let items: Map<string, string>;
  let client: SimulatorClient;
  const open = () => {
    transport = new HeldTransport();
    client = new SimulatorClient(new Store(), transport as unknown as Transport, memoryOf(items));
    client.start();
  };

  beforeEach(() => {
    items = new Map();
    open();
    transport.tell(hello());
  });

  it("ends each request with its own answer", async () => {
    const first = client.step({ do: "cancel" });
    const second = client.step({ do: "tap", action: "OK" });
    transport.tell({
      type: "failed",
      id: transport.sent[1]?.id ?? -1,
      why: "there is no alert on screen",
    });
    transport.tell({ type: "done", id: transport.sent[0]?.id ?? -1 });
    await expect(first).resolves.toBeUndefined();
    await expect(second).rejects.toThrow("there is no alert on screen");
  });

  it("gives up what it waits for when the connection is lost", async () => {
    const step = client.step({ do: "cancel" });
    transport.listener.status({ kind: "lost" });
    await expect(step).rejects.toThrow(/lost/);
    transport.connected = false;
    await expect(client.step({ do: "cancel" })).rejects.toThrow(/not connected/);
  });

  it("puts a refusal where the user sees it", async () => {
    const acted = client.act({ do: "cancel" });
    transport.tell({
      type: "failed",
      id: transport.sent[0]?.id ?? -1,
      why: "there is no picker on screen",
    });
    expect(await acted).toBe(false);
    expect(client.store.model.notice).toBe("there is no picker on screen");
  });

  it("finds its phone, its commands and new names after the tab was loaded anew", async () => {
    const name = client.nextName("takePicture");
    void client.step({ do: "takePicture", as: name, arguments: [50] });
    const event = new Stream().event(picker());
    transport.tell(event);
    await Promise.resolve();

    open();
    expect(transport.session).toBe("s1");
    transport.tell(hello({ messages: [event] }));
    expect(client.store.model.entries).toMatchObject([{ name, arguments: [50] }, { n: 0 }]);
    expect(client.nextName("takePicture")).not.toBe(name);
  });

  it("tells listeners of live events only", () => {
    const heard: string[] = [];
    client.onEvent((event) => heard.push(event.event));
    const stream = new Stream();
    transport.tell(hello({ messages: [stream.event(picker())] }));
    transport.tell(stream.event({ event: "dismiss", kind: "picker" }));
    expect(heard).toEqual(["dismiss"]);
  });

  it("restarts without what is the server's own, and then knows the new device", async () => {
    const restarted = client.restart({ seed: 4, locale: "de_DE" });
    expect(transport.sent[0]).toMatchObject({
      type: "restart",
      device: { locale: "de_DE" },
      keepLibrary: true,
    });
    expect(client.store.model.device).toEqual({});
    transport.tell({ type: "done", id: transport.sent[0]?.id ?? -1 });
    await restarted;
    expect(client.store.model.device).toEqual({ locale: "de_DE" });
  });
});
