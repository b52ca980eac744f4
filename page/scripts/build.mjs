// Builds dist/, or the folder that is given: the modules with their types, and vecamera.js for
// pages without a bundler.
import { execFileSync } from "node:child_process";
import { rmSync } from "node:fs";
import { createRequire } from "node:module";
import { join, resolve } from "node:path";
import { fileURLToPath } from "node:url";
import { build } from "esbuild";

const here = fileURLToPath(new URL("..", import.meta.url));
const folder = resolve(here, process.argv[2] ?? "dist");
const compiler = createRequire(import.meta.url).resolve("typescript/bin/tsc");

rmSync(folder, { recursive: true, force: true });
execFileSync(process.execPath, [compiler, "-p", "tsconfig.build.json", "--outDir", folder], {
  cwd: here,
  stdio: "inherit",
});
await build({
  absWorkingDir: here,
  entryPoints: ["src/script.ts"],
  outfile: join(folder, "vecamera.js"),
  bundle: true,
  minify: true,
  sourcemap: true,
  format: "iife",
  target: "es2020",
});
