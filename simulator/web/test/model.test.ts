import { describe, expect, it } from "vitest";
import { changedDevice } from "../src/core/device";
import { type Action, emptyModel, type Model, reduce } from "../src/core/model";
import type { Json, ServerMessage } from "../src/core/messages";
import { hello, picker, stateOf, Stream, success } from "./support";

const after = (actions: Action[], from: Model = emptyModel): Model => actions.reduce(reduce, from);
const message = (one: ServerMessage): Action => ({ kind: "message", message: one });
const sent = (name: string, args: Json[] = []): Action => ({
  kind: "sent",
  name,
  command: "takePicture",
  arguments: args,
});
const order = (model: Model) =>
  model.entries.map((entry) => (entry.type === "command" ? entry.name : entry.n));

describe("the model", () => {
  it("puts a command between what came before it and what follows from it", () => {
    const stream = new Stream();
    const model = after([
      message(hello()),
      sent("a"),
      message(stream.event(picker())),
      sent("b"),
      sent("c"),
      message(stream.event(picker())),
    ]);
    expect(order(model)).toEqual(["a", 0, "b", "c", 1]);
  });

  it("is the same after the connection was made again", () => {
    const stream = new Stream();
    const first = stream.event(picker());
    const second = stream.event(success("a"));
    const model = after([
      message(hello()),
      sent("a"),
      message(first),
      message(hello({ messages: [first, second] })),
    ]);
    expect(order(model)).toEqual(["a", 0, 1]);
  });

  it("takes up a tab's commands in their places when the tab was loaded anew", () => {
    const stream = new Stream();
    const messages = [stream.event(picker()), stream.event(success("a"))];
    const commands = [
      { ...stream.command("a"), n: -0.5 },
      { ...stream.command("b"), n: 1.5 },
    ];
    const back = message(hello({ messages }));
    expect(order(after([back, { kind: "remembered", session: "s1", commands }]))).toEqual([
      "a",
      0,
      1,
      "b",
    ]);
    expect(order(after([back, { kind: "remembered", session: "other", commands }]))).toEqual([
      0, 1,
    ]);
  });

  it("forgets another session's commands", () => {
    const model = after([message(hello()), sent("a"), message(hello({ session: "s2" }))]);
    expect(model.entries).toEqual([]);
  });

  it("opens the settings when the plug-in does, and not for a message of the past", () => {
    const opened = new Stream().event({ event: "openURL", url: "app-settings:" });
    expect(after([message(hello()), message(opened)]).settingsOpen).toBe(true);
    expect(after([message(hello({ messages: [opened] }))]).settingsOpen).toBe(false);
  });

  it("begins anew with a restarted device", () => {
    const device = { timeZone: "Asia/Tokyo" };
    const before = after([
      message(hello()),
      sent("a"),
      message({ type: "state", ...stateOf({ recorded: 3 }) }),
    ]);
    const restarted = message({ type: "restarted", device });
    const model = reduce(before, restarted);
    expect(model).toMatchObject({ device, entries: [], settingsOpen: false });
    // What the new device does before the restart is reported as done is its own.
    const first = new Stream().event({ event: "stdout", text: "a new one" });
    expect(order(after([restarted, message(first)], before))).toEqual([0]);
    expect(model.appVersion).toBeGreaterThan(before.appVersion);
  });

  it("loads the app anew after the end of its phone, as its page waits for nothing any more", () => {
    const lost = after([
      message(hello()),
      { kind: "connection", status: { kind: "lost" } },
      { kind: "connection", status: { kind: "connecting" } },
    ]);
    expect(lost.appVersion).toBe(0);
    const ended = after([{ kind: "connection", status: { kind: "ended", why: "idle" } }], lost);
    const again = after([{ kind: "connection", status: { kind: "connecting" } }], ended);
    expect([ended.appVersion, again.appVersion]).toEqual([0, 1]);
  });

  it("shows an export until it ends, however it ends", () => {
    const progress = message({ type: "progress", what: "export", fraction: 0.4 });
    const stream = new Stream();
    expect(after([progress]).exporting).toBe(0.4);
    expect(
      after([progress, message({ type: "progress", what: "export", fraction: 1 })]).exporting,
    ).toBeNull();
    expect(after([progress, message(stream.event(success("a")))]).exporting).toBeNull();
    expect(
      after([progress, message(stream.trace("export", 9, { error: "no" }))]).exporting,
    ).toBeNull();
  });

  it("keeps no more than it can show", () => {
    const stream = new Stream();
    let model = after([message(hello())]);
    for (let count = 0; count < 4100; count++)
      model = reduce(model, message(stream.event({ event: "stdout", text: "line" })));
    expect(model.entries).toHaveLength(4000);
    expect(model.entries.at(-1)?.n).toBe(4099);
  });
});

describe("a changed device", () => {
  it("keeps what stands now, leaves out what is the server's, and takes the change", () => {
    const state = stateOf({ permissions: { camera: "denied" }, faults: [{ at: "export" }] });
    const device = changedDevice(
      { locale: "en_GB", seed: 7, clock: "2024-01-01T00:00:00Z", library: [] },
      state,
      { timeZone: "UTC", clock: undefined as never },
    );
    expect(device).toEqual({
      locale: "en_GB",
      timeZone: "UTC",
      authorization: { camera: "denied" },
      faults: [{ at: "export" }],
    });
  });
});

describe("a changed device that could not be made", () => {
  it("is what was asked for, as its state says nothing about it", () => {
    const device = { authorization: { camera: "denied" }, locale: "xx" };
    const state = stateOf({ permissions: {}, broken: "locale: there is none such" });
    expect(changedDevice(device, state, { locale: "en_US" })).toEqual({
      authorization: { camera: "denied" },
      locale: "en_US",
    });
  });
});
