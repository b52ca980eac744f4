import { type Server, createServer } from "node:http";
import type { AddressInfo } from "node:net";
import { afterAll, beforeAll, describe, expect, it, vi } from "vitest";
import { type Bridge, type BridgeValue, type Picture, createCamera } from "../src/index.js";
import { deliver, mockBridge, succeed } from "../src/mock.js";

const jpeg = Uint8Array.of(0xff, 0xd8, 0xff, 0xe0);

function cameraOf(bridge: Bridge) {
  const camera = createCamera(bridge);
  camera.warn = () => {};
  return camera;
}

/** The picture of an answer that comes without a mock, as a container gives it. */
function pictureOf(value: BridgeValue, more: Partial<Bridge> = {}): Promise<Picture> {
  const bridge: Bridge = {
    call: (_command, _list, callbacks) => callbacks.success({ data: { callbackURI: value } }),
    ...more,
  };
  return cameraOf(bridge).takePicture({ destination: "fileUrl", quality: 100 });
}

async function contentOf(blob: Blob) {
  return { type: blob.type, bytes: new Uint8Array(await blob.arrayBuffer()) };
}

describe("the content of a picture", () => {
  let server: Server;
  let origin = "";

  beforeAll(async () => {
    const types: Record<string, string> = {
      "/tmp/1.jpg": "application/octet-stream",
      "/tmp/unnamed": "image/png",
    };
    server = createServer(({ url = "" }, response) => {
      const type = types[url];
      if (type) response.writeHead(200, { "Content-Type": type }).end(jpeg);
      else response.writeHead(404).end("gone");
    });
    await new Promise<void>((listening) => server.listen(0, "127.0.0.1", listening));
    origin = `http://127.0.0.1:${(server.address() as AddressInfo).port}`;
  });

  afterAll(() => {
    server.close();
  });

  it.each([
    ["a data URL", `data:image/jpeg;base64,${btoa("\xff\xd8\xff\xe0")}`],
    ["bytes", jpeg],
  ])("is in %s, and nothing is fetched", async (_, value) => {
    const fetched = vi.spyOn(globalThis, "fetch");
    const readFile = vi.fn();
    const picture = await pictureOf(value, { readFile });
    const blob = await picture.toBlob();
    expect(await contentOf(blob)).toEqual({ type: "image/jpeg", bytes: jpeg });
    expect(picture.size).toBe(blob.size);
    expect(fetched).not.toHaveBeenCalled();
    expect(readFile).not.toHaveBeenCalled();
    fetched.mockRestore();
  });

  it.each([
    ["its name's type", "/tmp/1.jpg", "image/jpeg"],
    ["the server's type where its name has none", "/tmp/unnamed", "image/png"],
  ])("is fetched from a file URL, with %s", async (_, path, type) => {
    const picture = await pictureOf(origin + path);
    expect(await contentOf(await picture.toBlob())).toEqual({ type, bytes: jpeg });
  });

  it("is read by a bridge that knows its own addresses", async () => {
    const bridge = {
      root: "/private",
      async readFile(url: string) {
        return new Blob([this.root, url]);
      },
    };
    const picture = await pictureOf("/tmp/1.png", bridge);
    const blob = await picture.toBlob();
    expect([blob.type, await blob.text()]).toEqual(["image/png", "/private/tmp/1.png"]);
  });

  it.each([
    ["a file that is gone", "/tmp/2.jpg", "status 404"],
    ["no Base64", "data:image/png;base64,?", "cannot be read"],
    ["an address that cannot be fetched", "assets-library://asset/1", "cannot be read"],
    ["nothing delivered", null, "there is none"],
  ])("fails as unreadable with %s", async (_, value, message) => {
    const picture = await pictureOf(value?.startsWith("/") ? origin + value : value);
    const unreadable = { code: "unreadable", message: expect.stringContaining(message) };
    const error = await picture.toBlob().catch((reason: unknown) => reason);
    expect(error).toMatchObject({ name: "CameraError", ...unreadable });
    expect(error).toHaveProperty("cause", expect.any(Error));
    await expect(picture.objectUrl()).rejects.toMatchObject(unreadable);
  });

  it("has object URLs, each of which can be revoked", async () => {
    const picture = await pictureOf(`${origin}/tmp/1.jpg`);
    const [first, second] = [await picture.objectUrl(), await picture.objectUrl()];
    expect(first.url).toMatch(/^blob:/);
    first.revoke();
    await expect(fetch(first.url)).rejects.toThrow();
    const blob = await (await fetch(second.url)).blob();
    expect(await contentOf(blob)).toEqual({ type: "image/jpeg", bytes: jpeg });
    second.revoke();
  });

  it("is left out of copies: a picture can be stored and printed", async () => {
    const url = "/tmp/1.jpg";
    const facts = { kind: "fileUrl", url, fileName: "1.jpg" };
    const data = { ...facts, mediaType: "photo", mimeType: "image/jpeg" };
    const picture = await pictureOf(url);
    expect(structuredClone(picture)).toEqual(data);
    expect(JSON.parse(JSON.stringify(picture))).toEqual(data);
  });
});

describe("the mock's files", () => {
  const file = new Blob([jpeg]);

  it.each(["/tmp/1.jpg", { href: "/tmp/1.jpg" }])("are read by the page: %j", async (value) => {
    const bridge = mockBridge();
    bridge.script("takePicture", deliver(value, file), deliver("/tmp/2.jpg"), succeed());
    const camera = cameraOf(bridge);
    const picture = await camera.takePicture({ destination: "fileUrl" });
    expect(picture).toMatchObject({ fileName: "1.jpg", mediaType: "photo" });
    expect(await contentOf(await picture.toBlob())).toEqual({ type: "image/jpeg", bytes: jpeg });
    const without = await camera.takePicture({ destination: "fileUrl" });
    await expect(without.toBlob()).rejects.toThrow("the mock has no file at /tmp/2.jpg");
    await expect((await camera.takePicture()).toBlob()).rejects.toThrow("there is none");
  });
});
