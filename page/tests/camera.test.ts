import { afterEach, describe, expect, it, vi } from "vitest";
import { type BridgeValue, CameraError, type PictureOptions, createCamera } from "../src/index.js";
import { cancel, deliver, fail, mockBridge, stayOpen, succeed } from "../src/mock.js";

function openCamera() {
  const bridge = mockBridge();
  const camera = createCamera(bridge);
  const warn = vi.fn();
  camera.warn = warn;
  return { bridge, camera, warn };
}

const ascii = (text: string) => new TextEncoder().encode(text);

describe("an answer becomes a picture", () => {
  const jpeg = { mediaType: "photo", mimeType: "image/jpeg" };
  const png = { mediaType: "photo", mimeType: "image/png" };
  const mp4 = { mediaType: "video", mimeType: "video/mp4" };

  it.each<[string, string, object]>([
    ["two digits of padding", "data:image/png;base64,AA==", { ...png, size: 1 }],
    ["one digit of padding", "data:image/jpeg;base64,AAA=", { ...jpeg, size: 2 }],
    ["a movie without padding", "data:video/mp4;base64,AAAA", { ...mp4, size: 3 }],
    ["no padding where some is due", "data:image/png;base64,AA", { ...png, size: 1 }],
    ["nothing in it", "data:image/png;base64,", { ...png, size: 0 }],
  ])("a data URL with %s", async (_, url, facts) => {
    const { bridge, camera } = openCamera();
    bridge.script("takePicture", deliver(url));
    const picture = await camera.takePicture({ destination: "dataUrl", quality: 100 });
    expect(picture).toEqual({ kind: "dataUrl", url, ...facts });
  });

  it.each<[string, string, object]>([
    ["a bare path", "/tmp/velmora_1.jpg", { fileName: "velmora_1.jpg", ...jpeg }],
    ["a PNG", "app://app/tmp/a%20b.PNG", { fileName: "a%20b.PNG", ...png }],
    ["a movie with a query", "file:///tmp/1.mp4?at=/2.jpg#/3", { fileName: "1.mp4", ...mp4 }],
    ["a name that says nothing", "/tmp/picture", { fileName: "picture" }],
    ["an address without a name", "app://tmp/", { fileName: "" }],
  ])("a file URL: %s", async (_, url, facts) => {
    const { bridge, camera } = openCamera();
    bridge.script("takePicture", deliver(url), deliver({ href: url }));
    const picture = { kind: "fileUrl", url, ...facts };
    expect(await camera.takePicture({ destination: "fileUrl", quality: 100 })).toEqual(picture);
    // A URL value is a file, whatever was asked for.
    expect(await camera.takePicture()).toEqual(picture);
  });

  const library = "assets-library://asset/asset.";
  it.each<[string, PictureOptions["destination"], string, object]>([
    ["a picked photo", undefined, `${library}JPG?id=1&ext=JPG`, jpeg],
    ["a new photo, which is a PNG", undefined, `${library}JPG?id=1%26ext=JPG`, png],
    ["a new movie", undefined, `${library}MP4?id=1%26ext=MP4`, mp4],
    [
      "a picked movie",
      undefined,
      `${library}MOV?id=1&ext=MOV`,
      { mediaType: "video", mimeType: "video/quicktime" },
    ],
    ["an address that was rewritten", "nativeUrl", "app://asset/1", {}],
    ["the answer of an earlier call", "fileUrl", "assets-library://asset/1", {}],
  ])("a native URL: %s", async (_, destination, url, facts) => {
    const { bridge, camera } = openCamera();
    bridge.script("takePicture", deliver(url));
    expect(await camera.takePicture({ destination })).toEqual({ kind: "nativeUrl", url, ...facts });
  });

  it.each([
    ["Base64 of a JPEG", ascii("/9j/"), [0xff, 0xd8, 0xff], "image/jpeg"],
    ["Base64 of a PNG", ascii("iVBORw=="), [0x89, 0x50, 0x4e, 0x47], "image/png"],
    ["a JPEG as it is", Uint8Array.of(0xff, 0xd8, 0xff), [0xff, 0xd8, 0xff], "image/jpeg"],
  ])("bytes that are %s", async (_, buffer, bytes, mimeType) => {
    const { bridge, camera } = openCamera();
    bridge.script("takePicture", deliver(buffer));
    const picture = await camera.takePicture();
    const facts = { mediaType: "photo", mimeType, size: bytes.length };
    expect(picture).toEqual({ kind: "bytes", bytes: Uint8Array.from(bytes), ...facts });
    // A page makes a blob of them, which also has to compile.
    if (picture.kind === "bytes")
      expect(new Blob([picture.bytes], { type: mimeType }).size).toBe(bytes.length);
  });

  it.each([succeed(), succeed({}), deliver(null)])("nothing delivered is reported", async (answer) => {
    const { bridge, camera } = openCamera();
    bridge.script("takePicture", answer);
    expect(await camera.takePicture()).toEqual({ kind: "nothing" });
  });

  it.each<BridgeValue>([7, true, [], { other: "x" }])("%j is not understood", async (value) => {
    const { bridge, camera } = openCamera();
    bridge.script("takePicture", deliver(value));
    await expect(camera.takePicture()).rejects.toMatchObject({
      code: "bridge",
      data: { callbackURI: value },
    });
  });

  it("that is huge is warned about, and still given", async () => {
    const { bridge, camera, warn } = openCamera();
    const url = "data:image/png;base64,".padEnd(4e6, "A");
    bridge.script("takePicture", deliver(url.slice(0, -1)), deliver(url));
    await camera.takePicture();
    expect(warn).not.toHaveBeenCalled();
    expect(await camera.takePicture()).toMatchObject({ kind: "dataUrl", url });
    expect(warn).toHaveBeenCalledWith(expect.stringContaining("4 MB"));
  });
});

describe("a failure becomes a CameraError", () => {
  const write = "UNABLE_FILE_WRITE";
  it.each([
    [
      "its text",
      fail("INVALID_PARAM", "Not supported mediaType"),
      "INVALID_PARAM",
      "Not supported mediaType",
    ],
    ["its errorMsg", fail(write, { errorMsg: "No room." }), write, "No room."],
    ["its payload", fail(write, { why: 1 }), write, '{"why":1}'],
  ])("with %s", async (_, answer, status, message) => {
    const { bridge, camera } = openCamera();
    bridge.script("takePicture", answer);
    const error = await camera.takePicture().catch((reason: unknown) => reason);
    expect(error).toBeInstanceOf(CameraError);
    expect(error).toMatchObject({ code: "plugin", status, message, canceled: false });
  });

  it("that distinguishes a user who backs out from a refused permission", async () => {
    const { bridge, camera } = openCamera();
    bridge.script("takePicture", cancel(), fail("NO_PERMISSION", "has no access to PhotoLibrary."));
    const status = "NO_PERMISSION";
    const backedOut = { status, canceled: true, cancelled: true };
    const refused = { status, canceled: false, cancelled: false };
    await expect(camera.takePicture()).rejects.toMatchObject(backedOut);
    await expect(camera.takePicture()).rejects.toMatchObject(refused);
  });

  it("or a result, where the user backs out of tryTakePicture", async () => {
    const { bridge, camera } = openCamera();
    const refused = fail("NO_PERMISSION", "has no access to PhotoLibrary.");
    bridge.script("takePicture", cancel(), refused, deliver("/tmp/a.jpg"));
    const options = { destination: "fileUrl", quality: 100 } as const;
    expect(await camera.tryTakePicture(options)).toEqual({ canceled: true });
    await expect(camera.tryTakePicture()).rejects.toMatchObject({ status: "NO_PERMISSION" });
    await expect(camera.tryTakePicture({ quality: 101 })).rejects.toMatchObject({ code: "badOption" });
    const { canceled, picture } = await camera.tryTakePicture(options);
    // Without a cast: the type of the one follows from the other.
    expect(canceled ? undefined : picture.kind).toBe("fileUrl");
    expect(bridge.calls.map((call) => call.arguments)).toEqual([[100, 1], [], [100, 1]]);
    const own = { canceled: true, message: "no image selected" };
    await expect(camera.tryTakePicture({ signal: AbortSignal.abort(own) })).rejects.toBe(own);
  });

  it("where the bridge throws, and the next call is not busy", async () => {
    const cause = new Error("no such function");
    const camera = createCamera({
      call() {
        throw cause;
      },
    });
    await expect(camera.takePicture()).rejects.toMatchObject({ code: "bridge", cause });
    await expect(camera.takePicture()).rejects.toMatchObject({ code: "bridge", cause });
  });
});

describe("a call that is left open", () => {
  afterEach(() => {
    vi.useRealTimers();
  });

  it("can be aborted, with the reason, and a late answer is dropped", async () => {
    const { bridge, camera } = openCamera();
    bridge.script("takePicture", stayOpen(), stayOpen());
    const controller = new AbortController();
    const first = camera.takePicture({ signal: controller.signal });
    const reason = new Error("left the page");
    controller.abort(reason);
    // The next one may follow at once.
    const second = camera.takePicture({ destination: "fileUrl", quality: 100 });
    await expect(first).rejects.toBe(reason);
    expect(bridge.calls[0]?.forgotten).toBe(true);
    bridge.calls[0]?.answer(deliver("/tmp/late.jpg"));
    bridge.calls[0]?.answer(cancel());
    await expect(camera.takePicture()).rejects.toMatchObject({ code: "busy" });
    bridge.calls[1]?.answer(deliver("/tmp/second.jpg"));
    expect(await second).toMatchObject({ kind: "fileUrl", url: "/tmp/second.jpg" });
  });

  it.each(["takePicture", "tryTakePicture", "cleanup"] as const)(
    "is not even made when %s is aborted",
    async (operation) => {
      const { bridge, camera } = openCamera();
      const given = camera[operation]({ signal: AbortSignal.abort("before") });
      await expect(given).rejects.toBe("before");
      expect(bridge.calls).toEqual([]);
    },
  );

  it("is aborted once and for all, but not after its answer", async () => {
    const { bridge, camera } = openCamera();
    bridge.script("takePicture", deliver("assets-library://asset/1"));
    const controller = new AbortController();
    const call = camera.takePicture({ signal: controller.signal });
    controller.abort();
    expect(await call).toMatchObject({ kind: "nativeUrl" });
    const { signal } = controller;
    await expect(camera.takePicture({ signal })).rejects.toMatchObject({ name: "AbortError" });
  });

  it("fails with an AbortError where the web view gives no reason", async () => {
    const { camera } = openCamera();
    const signal = Object.assign(new EventTarget(), { aborted: true }) as AbortSignal;
    await expect(camera.takePicture({ signal })).rejects.toMatchObject({ name: "AbortError" });
  });

  it.each(["takePicture", "cleanup"] as const)("ends %s at its timeout", async (command) => {
    vi.useFakeTimers();
    const { bridge, camera } = openCamera();
    bridge.script(command, stayOpen());
    const failed = vi.fn();
    const call = camera[command]({ timeout: 500 }).catch(failed);
    await vi.advanceTimersByTimeAsync(499);
    expect(failed).not.toHaveBeenCalled();
    await vi.advanceTimersByTimeAsync(1);
    await call;
    expect(failed.mock.calls[0]?.[0]).toMatchObject({
      code: "timedOut",
      message: "no answer within 500 ms",
    });
    expect(bridge.calls[0]?.forgotten).toBe(true);
    bridge.calls[0]?.answer(succeed());
    expect(failed).toHaveBeenCalledOnce();
  });

  it("leaves no timer and no listener once it is answered", async () => {
    vi.useFakeTimers();
    const { bridge, camera } = openCamera();
    const { signal } = new AbortController();
    const removed = vi.spyOn(signal, "removeEventListener");
    bridge.script("takePicture", stayOpen());
    const call = camera.takePicture({ timeout: 500, signal });
    bridge.calls[0]?.answer(deliver("assets-library://asset/1"));
    expect(await call).toMatchObject({ kind: "nativeUrl" });
    expect(vi.getTimerCount()).toBe(0);
    expect(removed).toHaveBeenCalledOnce();
    expect(bridge.calls[0]?.forgotten).toBe(true);
  });
});

describe("calls that overlap", () => {
  it("are refused, and the first one goes on", async () => {
    const { bridge, camera } = openCamera();
    bridge.script("takePicture", stayOpen());
    const first = camera.takePicture();
    await expect(camera.takePicture()).rejects.toMatchObject({ code: "busy" });
    const bad = camera.takePicture({ replacePending: true, quality: 1000 });
    await expect(bad).rejects.toMatchObject({ code: "badOption" });
    expect(bridge.calls).toHaveLength(1);
    bridge.calls[0]?.answer(deliver("assets-library://asset/1"));
    expect(await first).toMatchObject({ kind: "nativeUrl" });
  });

  it("replace the first one where that is asked for", async () => {
    const { bridge, camera } = openCamera();
    bridge.script("takePicture", stayOpen(), stayOpen());
    const first = camera.takePicture();
    const second = camera.takePicture({ replacePending: true });
    await expect(first).rejects.toMatchObject({ code: "replaced" });
    // The end of the first one lets no third one through.
    await expect(camera.takePicture()).rejects.toMatchObject({ code: "busy" });
    bridge.calls[0]?.answer(fail("NO_PERMISSION", "late"));
    bridge.calls[1]?.answer(deliver("assets-library://asset/2"));
    expect(await second).toMatchObject({ url: "assets-library://asset/2" });
  });

  it("do not count cleanup", async () => {
    const { bridge, camera } = openCamera();
    bridge.script("takePicture", stayOpen());
    bridge.script("cleanup", succeed(), fail("UNABLE_FILE_REMOVE", "One or more files failed."));
    void camera.takePicture();
    expect(await camera.cleanup()).toBeUndefined();
    await expect(camera.cleanup()).rejects.toMatchObject({ status: "UNABLE_FILE_REMOVE" });
  });
});

describe("the mock", () => {
  it("delays an answer until its promise is settled, also where that fails", async () => {
    const { bridge, camera } = openCamera();
    let release = (_: Error) => {};
    const after = new Promise((_, reject) => (release = reject));
    bridge.script("takePicture", { ...deliver("assets-library://asset/1"), after });
    const call = camera.takePicture();
    await expect(camera.takePicture()).rejects.toMatchObject({ code: "busy" });
    release(new Error("whatever it was"));
    expect(await call).toMatchObject({ kind: "nativeUrl" });
  });

  it("says what is missing where it has no answer", async () => {
    const { bridge, camera } = openCamera();
    bridge.script("cleanup", succeed());
    await expect(camera.takePicture()).rejects.toMatchObject({
      code: "bridge",
      message: expect.stringContaining("no answer left for takePicture"),
    });
  });
});
