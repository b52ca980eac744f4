import { effect } from "@preact/signals-core";
import { beforeEach, describe, expect, it } from "vitest";
import { ConnectionLost, SimulatorClient } from "../src/core/SimulatorClient";
import { Store } from "../src/core/Store";
import type { DeviceEvent, DeviceState, ServerMessage } from "../src/core/messages";
import type { Action } from "../src/core/model";
import { messageText } from "../src/core/ServerTransport";
import type { Transport } from "../src/core/Transport";
import { HeldTransport, hello, picker, stateOf, Stream, success } from "./support";

const storageOf = (items: Map<string, string>) => ({
  getItem: (key: string) => items.get(key) ?? null,
  setItem: (key: string, value: string) => void items.set(key, value),
});

describe("SimulatorClient", () => {
  let transport: HeldTransport;
  let items: Map<string, string>;
  let client: SimulatorClient;
  const open = () => {
    transport = new HeldTransport();
    client = new SimulatorClient(new Store(), transport as unknown as Transport, storageOf(items));
    client.start();
  };

  beforeEach(() => {
    items = new Map();
    open();
    transport.deliver(hello());
  });

  it("ends each request with its own answer", async () => {
    const first = client.step({ do: "cancel" });
    const second = client.step({ do: "tap", action: "OK" });
    transport.reply(1, "there is no alert on screen");
    transport.reply(0);
    await expect(first).resolves.toBeUndefined();
    await expect(second).rejects.toThrow("there is no alert on screen");
  });

  it("gives up what it waits for when the connection is lost", async () => {
    const step = client.step({ do: "cancel" });
    transport.breakOff();
    await expect(step).rejects.toBeInstanceOf(ConnectionLost);
    await expect(client.step({ do: "cancel" })).rejects.toThrow(/not connected/);
  });

  it("puts a refusal where the user sees it", async () => {
    const acted = client.act({ do: "cancel" });
    transport.reply(0, "there is no picker on screen");
    expect(await acted).toBe(false);
    expect(client.store.model.notice).toBe("there is no picker on screen");
  });

  it("marks a command that did not reach the plug-in with the reason", async () => {
    const take = (name: string) => client.act({ do: "takePicture", as: name, arguments: [] });
    const refusals = () =>
      client.store.model.entries.map((entry) => entry.type === "command" && entry.refused);
    const acts = [take("a"), take("a"), take("b")];
    transport.reply(0);
    transport.reply(1, "as: the name is taken");
    transport.breakOff();
    await Promise.all(acts);
    // Of the last one it is not known.
    expect(refusals()).toEqual([undefined, "as: the name is taken", undefined]);
    await take("c");
    expect(refusals()[3]).toMatch(/not connected/);
  });

  it("gives no name that a replay has brought along", () => {
    transport.deliver({
      type: "state",
      ...stateOf({ callbacks: [{ name: "picture2", command: "takePicture:", why: "" }] }),
    });
    void client.step({ do: "takePicture", as: "picture1", arguments: [] });
    expect(client.nextName("takePicture")).toBe("picture3");
    expect(client.nextName("cleanup")).toBe("cleanup4");
  });

  it("finds its phone, its commands and new names after the tab was loaded anew", async () => {
    const name = client.nextName("takePicture");
    void client.step({ do: "takePicture", as: name, arguments: [50] });
    const event = new Stream().event(picker());
    transport.deliver(event);
    await Promise.resolve();

    open();
    expect(transport.session).toBe("s1");
    transport.deliver(hello({ messages: [event] }));
    expect(client.store.model.entries).toMatchObject([{ name, arguments: [50] }, { n: 0 }]);
    expect(client.nextName("takePicture")).not.toBe(name);
  });

  it("takes no reply to what the tab asked for before it was loaded anew", async () => {
    void client.step({ do: "cancel" });
    const { id } = transport.sent[0] ?? { id: -1 };
    open();
    transport.deliver(hello());
    const step = client.step({ do: "tap", action: "OK" });
    transport.deliver({ type: "failed", id, why: "there is no picker on screen" });
    transport.reply(0);
    await expect(step).resolves.toBeUndefined();
  });

  it("notifies of each event once, also of those that came while the connection was broken", () => {
    const heard: string[] = [];
    const listener = { onEvent: ({ event }: DeviceEvent) => void heard.push(event) };
    const stream = new Stream();
    const past = stream.event({ event: "stdout", text: "before" });
    open();
    client.listen(listener);
    transport.deliver(hello({ messages: [past] }));
    const presented = stream.event(picker());
    transport.deliver(presented);
    const missed = [stream.trace("decode", 1), stream.event(success("a"))];
    transport.deliver(hello({ messages: [past, presented, ...missed] }));
    transport.deliver(stream.event({ event: "dismiss", kind: "picker" }));
    expect(heard).toEqual(["present", "answer", "dismiss"]);
    transport.deliver(hello({ session: "s2", messages: [presented] }));
    expect(heard).toHaveLength(3);
  });

  it("restarts without what is the server's own", async () => {
    const restarted = client.restart({ seed: 4, locale: "de_DE", mainBundle: "of the script" });
    // Without its seed a script would not come to the identifiers that it came to elsewhere.
    const device = { seed: 4, locale: "de_DE" };
    expect(transport.sent[0]).toMatchObject({ type: "restart", device, keepLibrary: true });
    transport.deliver({ type: "restarted", device: { locale: "de_DE" } });
    transport.reply(0);
    await restarted;
    expect(client.store.model.device).toEqual({ locale: "de_DE" });
  });

  it("goes on where the browser has no room to remember everything, and says so once", async () => {
    const setItem = (key: string, value: string) => {
      if (value.length > 200) throw new DOMException("full", "QuotaExceededError");
      items.set(key, value);
    };
    transport = new HeldTransport();
    client = new SimulatorClient(new Store(), transport as unknown as Transport, {
      getItem: () => null,
      setItem,
    });
    client.start();
    transport.deliver(hello(), { type: "state", ...stateOf() });
    for (const argument of ["x".repeat(300), "y".repeat(300)]) {
      const step = client.step({
        do: "takePicture",
        as: client.nextName("takePicture"),
        arguments: [argument],
      });
      await Promise.resolve();
      transport.reply(transport.sent.length - 1);
      await step;
    }
    expect(client.store.model.notes).toHaveLength(1);
    // The phone is found again, and no name is given twice.
    open();
    expect(transport.session).toBe("s1");
    expect(client.nextName("takePicture")).toBe("picture3");
  });
});

describe("Store", () => {
  const message = (one: ServerMessage) => ({ kind: "message" as const, message: one });
  const state = (changes: Partial<DeviceState>) => message({ type: "state", ...stateOf(changes) });

  it.each<[string, Action, string[]]>([
    ["an event", message(new Stream().event(picker())), ["entries"]],
    ["a state that is the same", state({}), []],
    ["a state with a prompt", state({ prompts: ["camera"] }), ["prompts"]],
    [
      "the progress of an export",
      message({ type: "progress", what: "export", fraction: 0.5 }),
      ["exporting"],
    ],
    ["the reply to a request", message({ type: "done", id: 1 }), []],
  ])("notifies of %s only those who show it", (_, action, changed) => {
    const store = new Store();
    store.dispatch(message(hello()));
    store.dispatch(state({}));
    const heard: string[] = [];
    const { state: whole, ...values } = store.signals;
    for (const [name, value] of Object.entries({ ...values, ...store.state }))
      effect(() => {
        void value.value;
        heard.push(name);
      });
    heard.length = 0;
    store.dispatch(action);
    expect(heard).toEqual(changed);
    expect(whole.value).not.toBeNull();
  });
});

describe("messageText", () => {
  const step = (text: string) => ({ type: "step" as const, id: 1, step: { do: "tap", text } });
  const room = 1024 * 1024 - JSON.stringify(step("")).length;

  it("holds as much as the server takes, counted in bytes", () => {
    expect(messageText(step("x".repeat(room)))).toHaveLength(1024 * 1024);
    expect(() => messageText(step("x".repeat(room + 1)))).toThrow(/1048577 bytes.*1048576 at most/);
    expect(() => messageText(step("é".repeat(room / 2 + 1)))).toThrow(/bytes/);
  });
});
