import { defineConfig } from "@playwright/test";
import type { VecameraOptions } from "./src/index.js";

// The demo app's own tests, as a developer of a page would write them.
export default defineConfig<object, VecameraOptions>({
  testDir: "examples",
  outputDir: "../build/web/testing",
  timeout: 30_000,
  fullyParallel: true,
  workers: 2,
  reporter: process.env.CI ? "line" : "list",
  use: {
    trace: "retain-on-failure",
    launchOptions: {
      executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
      args: ["--no-sandbox"],
    },
  },
});
