// Builds dist/: the modules with their types, and vecamera.js for pages without a bundler.
import { execFileSync } from "node:child_process";
import { rmSync } from "node:fs";
import { createRequire } from "node:module";
import { fileURLToPath } from "node:url";
import { build } from "esbuild";

const here = fileURLToPath(new URL("..", import.meta.url));
const compiler = createRequire(import.meta.url).resolve("typescript/bin/tsc");

rmSync(new URL("../dist", import.meta.url), { recursive: true, force: true });
execFileSync(process.execPath, [compiler, "-p", "tsconfig.build.json"], {
  cwd: here,
  stdio: "inherit",
});
await build({
  absWorkingDir: here,
  entryPoints: ["src/script.ts"],
  outfile: "dist/vecamera.js",
  bundle: true,
  minify: true,
  format: "iife",
  target: "es2020",
});
