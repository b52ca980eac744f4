import { cpSync } from "node:fs";
import { fileURLToPath } from "node:url";
import { build, type Plugin } from "vite";
import { defineConfig } from "vitest/config";
import { proxiedSimulator } from "./dev/proxiedSimulator";

const here = (path: string) => fileURLToPath(new URL(path, import.meta.url));

// The demo app is plain files that the server hands out as they are.
const demoApp: Plugin = {
  name: "demo-app",
  apply: "build",
  closeBundle() {
    cpSync(here("demo"), here("dist/demo"), { recursive: true });
  },
};

// Developer tools show the page's own line for a call of the console, and not the script's.
function hiddenFromTools(): Plugin {
  const map = { version: 3, sources: ["app.js"], names: [], mappings: "AAAA", ignoreList: [0] };
  const url = `data:application/json,${encodeURIComponent(JSON.stringify(map))}`;
  return {
    name: "hidden-from-tools",
    generateBundle(_options, bundle) {
      for (const file of Object.values(bundle))
        if (file.type === "chunk") file.code += `//# sourceMappingURL=${url}\n`;
    },
  };
}

// The scripts of the app's pages: each one file that needs nothing else.
const appScripts: Plugin = {
  name: "app-scripts",
  apply: "build",
  async closeBundle() {
    for (const name of ["app", "waiting"])
      await build({
        configFile: false,
        root: here("."),
        logLevel: "warn",
        plugins: [hiddenFromTools()],
        build: {
          target: "es2021",
          outDir: here("dist/app"),
          emptyOutDir: false,
          lib: {
            entry: here(`src/app/${name}.ts`),
            formats: ["iife"],
            name: "vecameraPage",
            fileName: () => `${name}.js`,
          },
        },
      });
  },
};

export default defineConfig(async ({ command, mode }) => ({
  base: "./",
  plugins: [demoApp, appScripts],
  esbuild: { jsx: "automatic" as const, jsxImportSource: "preact" },
  build: {
    target: "es2021",
    assetsInlineLimit: 0,
    modulePreload: false,
  },
  ...(command === "serve" && mode === "development"
    ? await proxiedSimulator(process.env.VECAMERA_SERVE)
    : {}),
  test: {
    include: ["test/**/*.test.ts"],
    environment: "node",
  },
}));
