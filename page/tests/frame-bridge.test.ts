import { afterEach, beforeEach, describe, expect, it, vi } from "vitest";
import type { BridgeCallbacks } from "../src/bridge.js";
import { type FramedPage, frameBridge } from "../src/frame-bridge.js";
import { type Camera, createCamera } from "../src/index.js";

/** A page in a frame, with its parent's side in the test's hand. */
class Frame extends EventTarget {
  readonly parent = { postMessage: vi.fn() };
  readonly channel = new MessageChannel();
  readonly received: unknown[] = [];
  private heard = () => {};

  constructor() {
    super();
    this.channel.port1.onmessage = ({ data }) => {
      this.received.push(data);
      this.heard();
    };
  }

  get page() {
    return this as unknown as FramedPage;
  }

  say(source: unknown, data: unknown, ports: MessagePort[] = [this.channel.port2]) {
    this.dispatchEvent(Object.assign(new Event("message"), { source, data, ports }));
  }

  givePort() {
    this.say(this.parent, { vecamera: "port" });
  }

  async receive(count: number) {
    while (this.received.length < count) await new Promise<void>((heard) => (this.heard = heard));
    return this.received;
  }

  answer(message: unknown) {
    this.channel.port1.postMessage(message);
  }
}

describe("the bridge to a parent window", () => {
  let frame: Frame;
  let camera: Camera;

  beforeEach(() => {
    frame = new Frame();
    camera = createCamera(frameBridge(frame.page));
  });

  afterEach(() => {
    frame.channel.port1.close();
    frame.channel.port2.close();
  });

  it("says hello, waits for the port, and numbers its calls", async () => {
    expect(frame.parent.postMessage.mock.calls).toEqual([[{ vecamera: "hello", version: 1 }, "*"]]);
    const picture = camera.takePicture({ quality: 100, source: "photoLibrary" });
    frame.givePort();
    const cleaned = camera.cleanup();
    expect(await frame.receive(2)).toEqual([
      { id: 1, command: "takePicture", arguments: [100, null, 0] },
      { id: 2, command: "cleanup", arguments: [] },
    ]);
    frame.answer({ id: 2, result: "success", keepCallback: false });
    expect(await cleaned).toBeUndefined();
    frame.answer({ id: 1, result: "success", data: { callbackURI: "assets-library://a" } });
    expect(await picture).toMatchObject({ kind: "nativeUrl", url: "assets-library://a" });
  });

  it("does not send what was given up before there was a port", async () => {
    const controller = new AbortController();
    const given = camera.takePicture({ signal: controller.signal });
    controller.abort();
    await expect(given).rejects.toMatchObject({ name: "AbortError" });
    const cleaned = camera.cleanup();
    frame.givePort();
    expect(await frame.receive(1)).toMatchObject([{ command: "cleanup" }]);
    frame.answer({ id: 2, result: "success" });
    await cleaned;
  });

  it("takes the port only from its parent, only once, and only when it is one", async () => {
    const stranger = new MessageChannel();
    frame.say({}, { vecamera: "port" }, [stranger.port2]);
    frame.say(frame.parent, { other: "port" }, [stranger.port2]);
    frame.say(frame.parent, null, [stranger.port2]);
    frame.say(frame.parent, { vecamera: "port" }, []);
    const cleaned = camera.cleanup();
    frame.givePort();
    frame.say(frame.parent, { vecamera: "port" }, [stranger.port2]);
    await frame.receive(1);
    frame.answer({ id: 1, result: "success" });
    expect(await cleaned).toBeUndefined();
    stranger.port1.close();
  });

  it.each([
    ["bytes", { bytes: btoa("/9j/") }, { kind: "bytes", bytes: Uint8Array.of(0xff, 0xd8, 0xff) }],
    ["a URL", { url: "/tmp/1.jpg" }, { kind: "fileUrl", url: "/tmp/1.jpg" }],
  ])("carries %s", async (_, callbackURI, picture) => {
    frame.givePort();
    const taken = camera.takePicture();
    await frame.receive(1);
    frame.answer({ id: 1, result: "success", data: { callbackURI } });
    expect(await taken).toMatchObject(picture);
  });

  it("fails a call whose answer cannot be read, and ignores answers to nobody", async () => {
    frame.givePort();
    const taken = camera.takePicture();
    await frame.receive(1);
    frame.answer({ id: 9, result: "success" });
    frame.answer({ id: 1, result: "success", data: { callbackURI: { bytes: "?" } } });
    await expect(taken).rejects.toMatchObject({ code: "bridge" });
  });

  it("fails a call that the parent could not hand on, and only that one", async () => {
    frame.givePort();
    const taken = camera.takePicture();
    const cleaned = camera.cleanup();
    await frame.receive(2);
    frame.answer({ id: 1, result: "error", message: "the simulator is not connected" });
    await expect(taken).rejects.toMatchObject({
      code: "bridge",
      status: undefined,
      message: "the simulator is not connected",
    });
    frame.answer({ id: 2, result: "success" });
    expect(await cleaned).toBeUndefined();
  });

  it("leaves the next port to another bridge of the same page", async () => {
    const other = createCamera(frameBridge(frame.page));
    frame.givePort();
    const second = new MessageChannel();
    const heard = new Promise((resolve) => (second.port1.onmessage = resolve));
    frame.say(frame.parent, { vecamera: "port" }, [second.port2]);
    const cleaned = [camera.cleanup(), other.cleanup()];
    await Promise.all([frame.receive(1), heard]);
    frame.answer({ lost: "the page said hello again" });
    await expect(cleaned[0]).rejects.toMatchObject({ message: "the page said hello again" });
    second.port1.postMessage({ id: 1, result: "success" });
    expect(await cleaned[1]).toBeUndefined();
    second.port1.close();
  });

  it("fails every call when the parent loses the container", async () => {
    frame.givePort();
    const taken = camera.takePicture();
    await frame.receive(1);
    frame.answer({ lost: "the server has ended" });
    const lost = { code: "bridge", message: "the server has ended" };
    await expect(taken).rejects.toMatchObject(lost);
    await expect(camera.cleanup()).rejects.toMatchObject(lost);
  });
});

describe("the bridge without a camera", () => {
  it("keeps types, and takes more answers only where they are promised", async () => {
    const frame = new Frame();
    const bridge = frameBridge(frame.page);
    frame.givePort();
    const heard: unknown[] = [];
    const lastHeard = new Promise<void>((done) => {
      const callbacks: BridgeCallbacks = {
        success: ({ data, keepCallback }) => heard.push([data, keepCallback]),
        error: ({ status, message, data }) => heard.push([status, message, data]),
        lost: () => done(),
      };
      bridge.call("takePicture", [], callbacks);
      bridge.call("cleanup", [], { ...callbacks, success: () => {} });
    });
    await frame.receive(2);
    const data = {
      list: [1, "a", null, { bytes: "AQI=" }],
      url: { url: "x" },
      deep: { url: "x", bytes: "AQI=" },
      number: { bytes: 5 },
    };
    frame.answer({ id: 1, result: "success", data, keepCallback: true });
    frame.answer({ id: 1, result: "error", status: "A", message: "text", keepCallback: true });
    frame.answer({ id: 1, result: "error", status: "B", data: { errorMsg: "text" } });
    frame.answer({ id: 1, result: "error", status: "ignored" });
    frame.answer({ lost: "done" });
    await lastHeard;
    expect(heard).toEqual([
      [
        {
          list: [1, "a", null, Uint8Array.of(1, 2)],
          url: { href: "x" },
          deep: { url: "x", bytes: "AQI=" },
          number: { bytes: 5 },
        },
        true,
      ],
      ["A", "text", undefined],
      ["B", undefined, { errorMsg: "text" }],
    ]);
    frame.channel.port1.close();
  });

  it.each(["before", "after"])(
    "gives up a call that cannot be sent %s there is a port, and keeps nothing of it",
    async (when) => {
      const frame = new Frame();
      const bridge = frameBridge(frame.page);
      if (when === "after") frame.givePort();
      const heard: string[] = [];
      const call = (name: string, list: unknown[]) =>
        new Promise<void>((done) => {
          const record = (what: string) => {
            heard.push(`${name}: ${what}`);
            done();
          };
          bridge.call("takePicture", list as [], {
            success: () => record("success"),
            error: () => record("error"),
            lost: record,
          });
        });
      const calls = [call("a", [() => 0]), call("b", [])];
      if (when === "before") frame.givePort();
      expect(await frame.receive(1)).toMatchObject([{ id: 2 }]);
      frame.answer({ id: 1, result: "success" });
      frame.answer({ id: 2, result: "success" });
      await Promise.all(calls);
      expect(heard).toEqual(["a: the arguments cannot be sent", "b: success"]);
      frame.channel.port1.close();
    },
  );

  it("says so where the page is in no frame", async () => {
    const page = new EventTarget() as EventTarget & { parent?: unknown };
    page.parent = page;
    const camera = createCamera(frameBridge(page as unknown as FramedPage));
    await expect(camera.takePicture()).rejects.toMatchObject({
      code: "bridge",
      message: "the page is not inside a frame of the simulator",
    });
  });
});
