import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { afterEach, beforeEach, describe, expect, it, vi } from "vitest";
import { Phone } from "../src/phone.js";
import { replay } from "../src/replay.js";
import { FakeSimulator } from "./fake-simulator.js";

const camera = {
  kind: "picker",
  sourceType: 1,
  mediaTypes: ["public.image"],
  allowsEditing: false,
  cameraCaptureMode: "photo",
};
const alert = { kind: "alert", title: "No camera", message: "", actions: ["Cancel", "Settings"] };
const photo = { name: "a.jpg", bytes: Buffer.from("picture") };
const movie = { name: "a.mp4", bytes: Buffer.from("movie") };

let simulator: FakeSimulator;
let phone: Phone;
beforeEach(async () => {
  simulator = await FakeSimulator.start();
  phone = await Phone.open(simulator.asSimulator(), { timeout: 2000 });
  expect(simulator.requests.splice(0)).toMatchObject([{ changes: { automation: "off" } }]);
});
afterEach(async () => {
  phone.close();
  await simulator.stop();
});

/** The promise, which has not been settled by what went before. */
async function pending<T>(promise: Promise<T>): Promise<Promise<T>[]> {
  const none = Symbol();
  // A round trip to the simulator, after which the promise had its chance.
  const settled = await Promise.race([promise, phone.step({ do: "state" }).then(() => none)]);
  expect(settled).toBe(none);
  return [promise];
}

describe("Phone", () => {
  it("captures when the camera is on screen, and not before", async () => {
    const capturing = phone.capture(photo, { crop: [1, 2, 3, 4] });
    const [waiting] = await pending(capturing);
    simulator.state({ screen: [camera] });
    await waiting;
    expect(simulator.uploads).toEqual([{ name: "a.jpg", text: "picture" }]);
    expect(simulator.steps().at(-1)).toEqual({ do: "capture", photo: "media/1", crop: [1, 2, 3, 4] });
  });

  it("hands a movie on as a movie", async () => {
    simulator.state({ screen: [camera] });
    await phone.capture(movie);
    await phone.capture({ seconds: 2 });
    expect(simulator.steps()).toEqual([
      { do: "capture", movie: "media/1" },
      { do: "capture", movie: { seconds: 2 } },
    ]);
  });

  it("waits for the screen that each action is for", async () => {
    const cases: [() => Promise<unknown>, object][] = [
      [() => phone.tap("Settings"), { screen: [alert] }],
      [() => phone.cancel(), { screen: [camera] }],
      [() => phone.pick({ id: "A" }), { screen: [{ ...camera, sourceType: 0 }] }],
      [() => phone.answerPrompt("camera", "deny"), { prompts: ["camera"] }],
      [() => phone.location(null), { location: { running: true } }],
    ];
    for (const [act, state] of cases) {
      const [waiting] = await pending(act());
      simulator.state(state);
      await waiting;
      simulator.state({});
      await phone.wait("an empty screen", () => phone.state.screen.length === 0);
    }
    const played = simulator.steps().filter((step) => (step as { do: string }).do !== "state");
    expect(played).toEqual([
      { do: "tap", action: "Settings" },
      { do: "cancel" },
      { do: "pick", asset: "A" },
      { do: "answer", prompt: "camera", with: "deny" },
      { do: "location", to: null },
    ]);
  });

  it("says what is on screen where something does not come", async () => {
    const callbacks = [{ name: "picture1", command: "takePicture", why: "an alert is on screen" }];
    simulator.state({ screen: [alert], prompts: ["location"], callbacks });
    await phone.wait("the alert", () => phone.state.screen.length === 1);
    await expect(phone.waitForCamera({ timeout: 1 })).rejects.toMatchObject({
      code: "timeout",
      message:
        "the camera did not come within 1 ms; on screen: the alert “No camera” (Cancel, Settings), " +
        "the system's prompt for location; open calls: picture1 (takePicture): an alert is on screen",
    });
  });

  it("gives each answer once, also those that came before they were asked for", async () => {
    simulator.event(1, { event: "answer", to: "one", result: "success", keepCallback: false });
    simulator.event(2, { event: "answer", to: "two", result: "error", keepCallback: false });
    expect((await phone.nextAnswer()).to).toBe("one");
    expect((await phone.nextAnswer()).to).toBe("two");
    await expect(phone.nextAnswer({ timeout: 1 })).rejects.toThrow("an answer did not come");
    simulator.event(3, { event: "answer", to: "three", result: "success", keepCallback: false });
    expect((await phone.nextAnswer()).to).toBe("three");
    expect(phone.answers.map(({ to }) => to)).toEqual(["one", "two", "three"]);
  });

  it("forgets a device's events when it is restarted", async () => {
    simulator.event(1, { event: "answer", to: "old", result: "success", keepCallback: false });
    await phone.nextAnswer();
    simulator.send({ type: "restarted", device: {} });
    simulator.event(2, { event: "answer", to: "new", result: "success", keepCallback: false });
    expect((await phone.nextAnswer()).to).toBe("new");
    expect(phone.events).toHaveLength(1);
  });

  it("rejects with the server's words and code, and names the step", async () => {
    simulator.refuse = () => "there is no camera picker on screen";
    await expect(phone.step({ do: "capture", photo: "x" })).rejects.toMatchObject({
      code: "notPlayable",
      message: "capture: there is no camera picker on screen",
    });
  });

  it("ends every wait when the phone ends", async () => {
    const waiting = phone.waitForCamera();
    simulator.send({ type: "bye", why: "vecamera was stopped", code: "stopped" });
    await expect(waiting).rejects.toMatchObject({ code: "stopped" });
    await expect(phone.step({ do: "state" })).rejects.toThrow("vecamera was stopped");
  });

  it("ends every request when the connection breaks", async () => {
    simulator.refuse = () => {
      simulator.drop();
      return null;
    };
    await expect(phone.kill()).rejects.toMatchObject({ code: "closed" });
  });

  it("waits for a hold of its own, and not for an earlier one", async () => {
    simulator.event(1, { event: "held", at: "answer", callback: "one" });
    await phone.wait("the first hold", () => phone.events.length === 1);
    const hold = await phone.hold("answer", { seconds: 3 });
    const [reached] = await pending(hold.reached());
    simulator.event(2, { event: "held", at: "answer", callback: "two" });
    await reached;
    await hold.drop();
    expect(simulator.steps().filter((step) => (step as { do: string }).do !== "state")).toEqual([
      { do: "hold", at: "answer", seconds: 3 },
      { do: "drop" },
    ]);
  });
});

describe("replay", () => {
  let folder: string;
  beforeEach(() => {
    folder = mkdtempSync(join(tmpdir(), "vecamera-testing-"));
  });
  afterEach(() => rmSync(folder, { recursive: true }));

  const write = (flow: unknown): string => {
    const path = join(folder, "flow.json");
    writeFileSync(path, typeof flow === "string" ? flow : JSON.stringify(flow));
    return path;
  };

  it("plays the device's steps between the page's own calls", async () => {
    writeFileSync(join(folder, "beach.jpg"), "beach");
    const data = `data:image/png;base64,${Buffer.from("drawn").toString("base64")}`;
    const path = write({
      device: {
        temporaryDirectory: "/elsewhere",
        library: [{ id: "A", file: "beach.jpg" }],
        timeZone: "UTC",
      },
      steps: [
        { do: "takePicture", as: "x" },
        { do: "capture", photo: data },
        { do: "cleanup" },
      ],
    });
    const replaying = replay(phone, path, async () => simulator.state({ screen: [camera] }));
    const called = (n: number, command: string) =>
      simulator.send({ type: "command", n, name: `call${n}`, command, arguments: [] });
    await phone.wait("the camera", () => phone.state.screen.length === 1);
    expect(simulator.uploads).toEqual([{ name: "beach.jpg", text: "beach" }]);
    called(1, "takePicture");
    await vi.waitFor(() => expect(simulator.steps()).toHaveLength(2));
    called(2, "cleanup");
    await replaying;
    expect(simulator.requests.map(({ id: _, ...request }) => request)).toEqual([
      {
        type: "restart",
        device: { timeZone: "UTC", library: [{ id: "A", file: "media/1" }] },
        keepLibrary: false,
      },
      { type: "step", step: { do: "capture", photo: "media/2" } },
    ]);
    expect(simulator.uploads[1]).toEqual({ name: "recorded.png", text: "drawn" });
  });

  it("names the step that the page did not do", async () => {
    const path = write({ steps: [{ do: "takePicture" }, { do: "cleanup" }] });
    simulator.send({ type: "command", n: 1, name: "a", command: "takePicture", arguments: [] });
    simulator.refuse = ({ type }) => {
      if (type === "restart")
        for (const [n, command] of ["takePicture", "takePicture"].entries())
          simulator.send({ type: "command", n: n + 2, name: `b${n}`, command, arguments: [] });
      return null;
    };
    await expect(replay(phone, path)).rejects.toThrow(
      `${path}: step 1 (cleanup): the page called takePicture instead`,
    );
  });

  it("says what is wrong with the file", async () => {
    await expect(replay(phone, join(folder, "none.json"))).rejects.toThrow("it cannot be read");
    await expect(replay(phone, write("{"))).rejects.toThrow("it is no JSON");
    await expect(replay(phone, write({}))).rejects.toThrow("it has no steps");
  });
});
