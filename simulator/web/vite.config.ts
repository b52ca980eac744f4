import { cpSync, existsSync, readFileSync } from "node:fs";
import { fileURLToPath } from "node:url";
import type { Plugin } from "vite";
import { defineConfig } from "vitest/config";

const here = (path: string) => fileURLToPath(new URL(path, import.meta.url));

// The demo app is plain files that the server hands out as they are.
function demoApp(): Plugin {
  return {
    name: "demo-app",
    configureServer(server) {
      server.middlewares.use("/.vecamera/vecamera.js", (_request, response) => {
        const client = here("../../page/dist/vecamera.js");
        response.setHeader("Content-Type", "text/javascript");
        response.end(existsSync(client) ? readFileSync(client) : "");
      });
    },
    closeBundle() {
      cpSync(here("demo"), here("dist/demo"), { recursive: true });
    },
  };
}

export default defineConfig({
  base: "./",
  plugins: [demoApp()],
  esbuild: { jsx: "automatic", jsxImportSource: "preact" },
  build: {
    target: "es2021",
    assetsInlineLimit: 0,
    modulePreload: false,
  },
  test: {
    include: ["test/**/*.test.ts"],
    environment: "node",
  },
});
