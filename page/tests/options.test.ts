import { describe, expect, it, vi } from "vitest";
import { type PictureOptions, createCamera } from "../src/index.js";
import { deliver, mockBridge } from "../src/mock.js";

function cameraWithAnswers(count = 1) {
  const bridge = mockBridge();
  for (let i = 0; i < count; i++) bridge.script("takePicture", deliver("/tmp/a.jpg"));
  const camera = createCamera(bridge);
  const warn = vi.fn();
  camera.warn = warn;
  return { bridge, camera, warn };
}

describe("options become the positional list", () => {
  const n = null;
  it.each<[string, PictureOptions, unknown[]]>([
    ["nothing asked for is an empty list", {}, []],
    ["empty slots stand before the last value", { source: "photoLibrary" }, [n, n, 0]],
    ["a lowest value is not an empty slot", { quality: 0, destination: "dataUrl" }, [0, 0]],
    ["a false flag is not an empty slot", { allowsEditing: false }, [n, n, n, n, n, n, n, false]],
    [
      "the size takes two slots",
      { targetSize: { width: 640, height: 480.5 } },
      [n, n, n, 640, 480.5],
    ],
    [
      "position 10 is skipped and the front camera is a boolean",
      { cameraDirection: "front" },
      [n, n, n, n, n, n, n, n, n, n, n, true],
    ],
    [
      "what concerns the page alone is not sent",
      { signal: new AbortController().signal, timeout: 1000, replacePending: true },
      [],
    ],
  ])("%s", async (_, options, list) => {
    const { bridge, camera } = cameraWithAnswers();
    await camera.takePicture(options);
    expect(bridge.calls[0]?.arguments).toEqual(list);
  });

  it.each([
    ["destination", ["dataUrl", "fileUrl", "nativeUrl"], 1, [0, 1, 2]],
    ["source", ["photoLibrary", "camera", "savedPhotosAlbum"], 2, [0, 1, 2]],
    ["encoding", ["jpeg", "png"], 5, [0, 1]],
    ["media", ["picture", "video", "all"], 6, [0, 1, 2]],
    ["cameraDirection", ["rear", "front"], 11, [false, true]],
  ] as const)("each name of %s has its value", async (option, names, position, values) => {
    const { bridge, camera } = cameraWithAnswers(names.length);
    for (const name of names) await camera.takePicture({ [option]: name });
    expect(bridge.calls.map((call) => call.arguments[position])).toEqual(values);
  });
});

describe("an option out of range is refused before the call, with its name and the cure", () => {
  it.each<[Record<string, unknown> | string, string]>([
    [{ quality: 80.5 }, "quality: give a whole number from 0 to 100, not 80.5"],
    [{ quality: 101 }, "quality: give a whole number from 0 to 100, not 101"],
    [{ quality: "80" }, 'quality: give a whole number from 0 to 100, not "80"'],
    [{ source: "library" }, 'source: give "photoLibrary" or "camera" or "savedPhotosAlbum"'],
    [{ encoding: "toString" }, 'encoding: give "jpeg" or "png", not "toString"'],
    [{ targetSize: { width: 640 } }, "targetSize.height: give a number above 0"],
    [{ targetSize: { width: 0, height: 1 } }, "targetSize.width: give a number above 0"],
    [{ targetSize: { width: 1, height: NaN } }, "or leave targetSize out, not NaN"],
    [{ correctOrientation: 1 }, "correctOrientation: give true or false, not 1"],
    [{ timeout: 0 }, "timeout: give milliseconds above 0"],
    [{ timeout: 2 ** 31 }, "at most 2147483647, not 2147483648"],
    [{ signal: true }, "signal: give an AbortSignal, not true"],
    [{ targetWidth: 640 }, "options: give only signal, timeout, quality, destination, source"],
    ["camera", 'options: give an object, or nothing, not "camera"'],
  ])("%j", async (options, message) => {
    const { bridge, camera } = cameraWithAnswers();
    await expect(camera.takePicture(options as PictureOptions)).rejects.toMatchObject({
      name: "CameraError",
      code: "badOption",
      message: expect.stringContaining(message),
    });
    expect(bridge.calls).toEqual([]);
  });

  it("goes for cleanup too, which has fewer of them", async () => {
    const { camera } = cameraWithAnswers();
    await expect(camera.cleanup({ quality: 1 } as never)).rejects.toMatchObject({
      code: "badOption",
      message: 'options: give only signal, timeout, not "quality"',
    });
  });
});

describe("options that do not do what they say are warned about", () => {
  const sized = { targetSize: { width: 9, height: 9 } };
  it.each<[PictureOptions, string[]]>([
    [{}, []],
    [{ destination: "dataUrl", quality: 100 }, ["dataUrl"]],
    [{ destination: "dataUrl", quality: 100, ...sized }, []],
    [{ destination: "dataUrl", media: "video", ...sized }, ["dataUrl"]],
    [{ destination: "fileUrl" }, ["quality 50"]],
    [{ destination: "fileUrl", quality: 99 }, ["quality 99"]],
    [{ destination: "fileUrl", quality: 0 }, []],
    [{ destination: "fileUrl", source: "photoLibrary" }, []],
    [{ destination: "fileUrl", source: "photoLibrary", ...sized }, ["quality 50"]],
    [{ destination: "fileUrl", source: "savedPhotosAlbum", allowsEditing: true }, ["quality 50"]],
    [{ destination: "fileUrl", source: "photoLibrary", correctOrientation: true }, ["quality 50"]],
    [{ source: "photoLibrary", media: "video" }, ["savedPhotosAlbum"]],
    [{ source: "savedPhotosAlbum", media: "video" }, []],
    [{ media: "all" }, ['media "all"']],
    [{ source: "photoLibrary", media: "all" }, []],
    [{ usesGeolocation: true }, ['"nativeUrl" is never answered']],
    [{ usesGeolocation: true, source: "photoLibrary" }, []],
    [
      { usesGeolocation: true, destination: "fileUrl", encoding: "png" },
      ['"png" is never answered'],
    ],
    [{ usesGeolocation: true, destination: "fileUrl", quality: 100 }, []],
    [{ usesGeolocation: true, media: "video" }, []],
  ])("%j", async (options, expected) => {
    const { camera, warn } = cameraWithAnswers();
    await camera.takePicture(options);
    expect(warn.mock.calls.map(([message]) => message)).toEqual(
      expected.map((part) => expect.stringContaining(part)),
    );
  });

  it("once each", async () => {
    const { camera, warn } = cameraWithAnswers(2);
    await camera.takePicture({ destination: "fileUrl" });
    await camera.takePicture({ destination: "fileUrl" });
    expect(warn).toHaveBeenCalledTimes(1);
  });
});
