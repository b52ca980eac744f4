import { afterEach, beforeEach, describe, expect, it } from "vitest";
import { FrameBridge } from "../src/features/phone/frame/FrameBridge";
import type { AnswerEvent } from "../src/core/messages";
import { appOrigin, delivered, FakePage, FakeWindow } from "./frame";

describe("FrameBridge", () => {
  const page = () => framed;
  let framed: FakePage;
  const stranger = new FakePage();
  let parent: FakeWindow;
  let ran: { command: string; args: unknown[] }[];
  let bridge: FrameBridge;
  const answer = (to: string, more: Partial<AnswerEvent> = {}): AnswerEvent => ({
    event: "answer",
    to,
    result: "success",
    data: { callbackURI: "x" },
    keepCallback: false,
    ...more,
  });
  const greet = () => parent.post({ vecamera: "hello", version: 1 }, framed, appOrigin);

  beforeEach(() => {
    framed = new FakePage();
    parent = new FakeWindow();
    ran = [];
    bridge = new FrameBridge({
      listenTo: parent,
      frame: () => page() as unknown as Window,
      appOrigin: () => appOrigin,
      run: (command, args) => {
        ran.push({ command, args });
        return `call${ran.length}`;
      },
    });
  });
  afterEach(() => {
    bridge.close();
    framed.port?.close();
  });

  it("runs the page's commands and hands each answer to its own", async () => {
    greet();
    framed.port?.postMessage({ id: 7, command: "takePicture", arguments: [50, null] });
    framed.port?.postMessage({ id: 8, command: "cleanup", arguments: [] });
    await delivered(() => ran.length === 2);
    expect(ran[0]).toEqual({ command: "takePicture", args: [50, null] });
    expect(bridge.answer(answer("call2", { data: {} }))).toBe(true);
    expect(bridge.answer(answer("call1", { result: "error", status: "NO_PERMISSION" }))).toBe(true);
    await delivered(() => framed.received.length === 2);
    expect(framed.received).toEqual([
      { id: 8, result: "success", data: {}, keepCallback: false },
      {
        id: 7,
        result: "error",
        status: "NO_PERMISSION",
        data: { callbackURI: "x" },
        keepCallback: false,
      },
    ]);
  });

  it("answers a callback once, and more often only where it is kept", async () => {
    greet();
    framed.port?.postMessage({ id: 1, command: "takePicture", arguments: [] });
    await delivered(() => ran.length === 1);
    expect(bridge.answer(answer("call1", { keepCallback: true }))).toBe(true);
    expect(bridge.answer(answer("call1"))).toBe(true);
    expect(bridge.answer(answer("call1"))).toBe(false);
    expect(bridge.answer(answer("nobody"))).toBe(false);
  });

  it.each([
    ["another window", () => parent.post({ vecamera: "hello", version: 1 }, stranger, appOrigin)],
    [
      "another origin",
      () => parent.post({ vecamera: "hello", version: 1 }, framed, "http://evil.example"),
    ],
    ["another version", () => parent.post({ vecamera: "hello", version: 2 }, framed, appOrigin)],
    ["something else", () => parent.post("hello", framed, appOrigin)],
    ["nothing", () => parent.post(null, framed, appOrigin)],
  ])("gives no port to %s", (_, post) => {
    post();
    expect([framed.port, stranger.port]).toEqual([null, null]);
  });

  it("answers a command that nobody knows with an error, and ignores what has no id", async () => {
    greet();
    for (const data of [
      null,
      "takePicture",
      { id: "1", command: "takePicture", arguments: [] },
      { id: 1, command: "dispose", arguments: [] },
      { id: 2, arguments: [] },
      { id: 3, command: "cleanup" },
      { id: 4, command: "cleanup", arguments: "all" },
    ])
      framed.port?.postMessage(data);
    framed.port?.postMessage({ id: 5, command: "cleanup", arguments: [] });
    await delivered(() => framed.received.length === 4 && ran.length > 0);
    expect(framed.received).toEqual([
      { id: 1, result: "error", message: expect.stringContaining('no command "dispose"') },
      { id: 2, result: "error", message: expect.stringContaining("no command") },
      { id: 3, result: "error", message: expect.stringContaining("arguments of cleanup") },
      { id: 4, result: "error", message: expect.stringContaining("arguments of cleanup") },
    ]);
    expect(ran).toEqual([{ command: "cleanup", args: [] }]);
  });

  it("speaks to whoever said hello last, and notifies the one before", async () => {
    greet();
    const first = framed.port;
    first?.postMessage({ id: 1, command: "takePicture", arguments: [] });
    await delivered(() => ran.length === 1);
    greet();
    expect(bridge.answer(answer("call1"))).toBe(false);
    await delivered(() => framed.received.length === 1);
    expect(framed.received).toEqual([{ lost: expect.stringContaining("hello again") }]);
    framed.port?.postMessage({ id: 1, command: "cleanup", arguments: [] });
    await delivered(() => ran.length === 2);
    expect(bridge.answer(answer("call2"))).toBe(true);
    first?.close();
  });

  it("notifies the page when nothing will come any more", async () => {
    greet();
    bridge.disconnect("the phone has ended");
    await delivered(() => framed.received.length === 1);
    expect(framed.received).toEqual([{ lost: "the phone has ended" }]);
  });
});
