import { afterEach, beforeEach, describe, expect, it } from "vitest";
import { connectPage } from "../src/features/phone/frame/connectPage";
import { SimulatorClient } from "../src/core/SimulatorClient";
import { Store } from "../src/core/Store";
import type { DeviceState } from "../src/core/messages";
import type { Transport } from "../src/core/Transport";
import { appOrigin, delivered, FakePage, FakeWindow } from "./frame";
import { HeldTransport, hello, stateOf, Stream, success } from "./support";

describe("the app's page", () => {
  let page: FakePage;
  let transport: HeldTransport;
  let client: SimulatorClient;
  let stream: Stream;
  let disconnect: () => void;

  const stateMessage = (changes: Partial<DeviceState> = {}) => ({
    type: "state" as const,
    ...stateOf(changes),
  });
  const open = (name: string) => stateMessage({ callbacks: [{ name, command: "takePicture:", why: "" }] });
  const post = (id: number, args: unknown[]) =>
    page.port?.postMessage({ id, command: "takePicture", arguments: args });
  const refusals = () =>
    client.store.model.entries.map((entry) => entry.type === "command" && entry.refused);
  /** The page's call with that number, which reaches the transport where it is connected. */
  const call = async (id: number) => {
    const before = transport.sent.length;
    post(id, []);
    if (transport.connected) await delivered(() => transport.sent.length > before);
  };
  const heard = async (count: number) => {
    await delivered(() => page.received.length >= count);
    return page.received;
  };
  const comeBack = (...messages: Parameters<HeldTransport["deliver"]>) => {
    transport.connected = true;
    transport.deliver(...messages);
  };

  beforeEach(() => {
    page = new FakePage();
    transport = new HeldTransport();
    stream = new Stream();
    client = new SimulatorClient(new Store(), transport as unknown as Transport, {
      getItem: () => null,
      setItem: () => {},
    });
    client.start();
    const parent = new FakeWindow();
    disconnect = connectPage(client, parent, () => page as unknown as Window);
    transport.deliver(hello({ appOrigin }), stateMessage());
    parent.post({ vecamera: "hello", version: 1 }, page, appOrigin);
  });
  afterEach(() => {
    disconnect();
    page.port?.close();
  });

  it("hears why a call of its was refused, as does the user", async () => {
    await call(1);
    await call(2);
    transport.reply(0, "arguments: give a list");
    expect(await heard(1)).toEqual([{ id: 1, result: "error", message: "arguments: give a list" }]);
    expect(client.store.model.notice).toBe("arguments: give a list");
    transport.deliver(stream.event(success("picture2")));
    expect(await heard(2)).toMatchObject([{}, { id: 2, result: "success" }]);
  });

  it("hears that a port carries more than the phone takes, and nobody else stumbles over it", async () => {
    const circle: unknown[] = [];
    circle.push(circle);
    post(1, [1n]);
    post(2, circle);
    await call(3);
    expect(await heard(2)).toMatchObject([
      { id: 1, result: "error", message: expect.stringContaining("not JSON") },
      { id: 2, result: "error", message: expect.stringContaining("not JSON") },
    ]);
    expect(transport.sent).toHaveLength(1);
    expect(client.store.model.entries).toMatchObject([{ name: "picture3" }]);
  });

  it("hears at once that nobody is connected, and of the end", async () => {
    transport.connected = false;
    await call(1);
    expect(await heard(1)).toMatchObject([{ id: 1, result: "error", message: expect.stringMatching(/not connected/) }]);
    transport.listener.onStatus({ kind: "ended", why: "this phone was opened in another tab" });
    expect(await heard(2)).toMatchObject([{}, { lost: "this phone was opened in another tab" }]);
  });

  it("gets the answer that was given while the connection was broken, once", async () => {
    await call(1);
    transport.reply(0);
    transport.breakOff();
    const messages = [stream.event(success("picture1", "file:///a.jpg"))];
    comeBack(hello({ appOrigin, messages }), stateMessage());
    await call(2);
    transport.reply(1, "no more");
    expect(await heard(2)).toMatchObject([
      { id: 1, result: "success", data: { callbackURI: "file:///a.jpg" } },
      { id: 2, result: "error" },
    ]);
  });

  it("waits on for a call that the phone has, and gives up one that it does not have", async () => {
    await call(1);
    await call(2);
    transport.breakOff();
    comeBack(hello({ appOrigin }), open("picture1"), stateMessage());
    expect(await heard(1)).toMatchObject([{ id: 2, result: "error", message: expect.stringMatching(/was lost/) }]);
    expect(refusals()).toEqual([undefined, expect.stringMatching(/was lost/)]);
    transport.deliver(stream.event(success("picture1")));
    expect(await heard(2)).toMatchObject([{}, { id: 1, result: "success" }]);
  });

  it("gives up nothing while the phone is still busy with what it was asked before", async () => {
    await call(1);
    transport.breakOff();
    comeBack(hello({ appOrigin, unfinished: 1 }), stateMessage());
    await call(2);
    transport.deliver(open("picture1"));
    transport.reply(1, "no");
    expect(await heard(1)).toMatchObject([{ id: 2, result: "error" }]);
    transport.deliver(stream.event(success("picture1")));
    expect(await heard(2)).toMatchObject([{}, { id: 1, result: "success" }]);
  });

  it("keeps a call that came with the new connection, before the phone sent its state", async () => {
    transport.breakOff();
    comeBack(hello({ appOrigin }));
    await call(1);
    transport.deliver(stateMessage(), stream.event(success("picture1")));
    expect(await heard(1)).toMatchObject([{ id: 1, result: "success" }]);
  });
});
