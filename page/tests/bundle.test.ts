import { fileURLToPath } from "node:url";
import { runInNewContext } from "node:vm";
import { gzipSync } from "node:zlib";
import { build } from "esbuild";
import { expect, it, vi } from "vitest";

async function bundle(entry: string, format: "esm" | "iife"): Promise<string> {
  const result = await build({
    entryPoints: [fileURLToPath(new URL(`../src/${entry}`, import.meta.url))],
    bundle: true,
    minify: true,
    write: false,
    format,
    target: "es2020",
  });
  return result.outputFiles[0]?.text ?? "";
}

it.each([
  ["for a bundler", "index.ts", "esm"],
  ["for a script tag, with its bridge,", "script.ts", "iife"],
] as const)("The client %s is under 3.5 kB minified and compressed", async (_, entry, format) => {
  const code = await bundle(entry, format);
  expect(code).toContain("takePicture");
  expect(gzipSync(code, { level: 9 }).length).toBeLessThan(3500);
});

it("A script tag gives the page a camera that talks to its frame", async () => {
  const page: Record<string, unknown> = {
    parent: { postMessage: vi.fn() },
    addEventListener: vi.fn(),
  };
  page.window = page;
  runInNewContext(await bundle("script.ts", "iife"), page);
  expect(page.parent).toHaveProperty("postMessage.mock.calls", [
    [{ vecamera: "hello", version: 1 }, "*"],
  ]);
  expect(page.vecamera).toMatchObject({
    takePicture: expect.any(Function),
    tryTakePicture: expect.any(Function),
    cleanup: expect.any(Function),
    warn: expect.any(Function),
    CameraError: expect.any(Function),
  });
});
