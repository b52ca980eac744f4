import { readFileSync } from "node:fs";
import { fileURLToPath } from "node:url";
import { createContext, runInContext } from "node:vm";
import { build } from "esbuild";
import { beforeAll, expect, it, vi } from "vitest";
import type { Camera } from "../src/index.js";

let code = "";

// The example app serves the built package in a folder beside its page.
beforeAll(async () => {
  const file = new URL("../../examples/ios/www/camera.js", import.meta.url);
  const contents = readFileSync(file, "utf8").replace("./vecamera-page/", "./src/");
  const resolveDir = fileURLToPath(new URL("..", import.meta.url));
  const stdin = { contents, resolveDir };
  const result = await build({ stdin, bundle: true, write: false, format: "iife" });
  code = result.outputFiles[0]?.text ?? "";
});

/** The example page's camera before an app that answers with what `reply` returns. */
function cameraOf(reply: (message: unknown) => unknown): Camera {
  const page: Record<string, unknown> = { TextDecoder, console, atob, setTimeout, clearTimeout };
  page.window = page;
  page.webkit = { messageHandlers: { velmora: { postMessage: async (m: unknown) => reply(m) } } };
  runInContext(code, createContext(page));
  return page.vecamera as Camera;
}

it.each([
  [{ callbackURI: "data:image/jpeg;base64,AA" }, { url: "data:image/jpeg;base64,AA" }],
  [
    { callbackURI: { url: "velmora-app://app/tmp/a.jpg" } },
    { url: "velmora-app://app/tmp/a.jpg", fileName: "a.jpg", mediaType: "photo" },
  ],
  [{ callbackURI: { bytes: btoa("/9j/") } }, { bytes: [0xff, 0xd8, 0xff], mimeType: "image/jpeg" }],
])("The example app's success with %j reaches the page", async (data, expected) => {
  const reply = vi.fn(() => ({ result: "success", data }));
  const picture = await cameraOf(reply).takePicture({ destination: "fileUrl", quality: 100 });
  expect(reply.mock.calls).toEqual([[{ command: "takePicture", arguments: [100, 1] }]]);
  const bytes = "bytes" in picture ? { bytes: [...picture.bytes] } : {};
  expect({ ...picture, ...bytes }).toMatchObject(expected);
});

it("The example app's failures reach the page", async () => {
  const answer = { result: "error", status: "NO_PERMISSION", message: "no image selected" };
  await expect(cameraOf(() => answer).takePicture()).rejects.toMatchObject({ canceled: true });
  await expect(cameraOf(() => ({ result: "success" })).cleanup()).resolves.toBeUndefined();
  const refuse = () => {
    throw new Error("this page may not use the camera");
  };
  await expect(cameraOf(refuse).cleanup()).rejects.toMatchObject({
    code: "bridge",
    message: expect.stringContaining("this page may not use the camera"),
  });
  const unreadable = { result: "success", data: { callbackURI: { bytes: "no base64!" } } };
  await expect(cameraOf(() => unreadable).takePicture()).rejects.toMatchObject({ code: "bridge" });
});
