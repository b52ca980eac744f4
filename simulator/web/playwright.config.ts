import { defineConfig } from "@playwright/test";

// Debian's browser, with a camera, a microphone and a place of its own.
const launchOptions = {
  executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
  args: [
    "--no-sandbox",
    "--use-fake-device-for-media-stream",
    "--use-fake-ui-for-media-stream",
    "--autoplay-policy=no-user-gesture-required",
    // The browser takes a page that is laid over for one from elsewhere.
    ...(process.env.VECAMERA_WEB ? ["--disable-features=LocalNetworkAccessChecks"] : []),
  ],
};

export default defineConfig({
  testDir: "e2e",
  outputDir: "../../build/web/e2e",
  // Each worker has a browser and a simulator, which keep a core busy.
  workers: 2,
  fullyParallel: true,
  forbidOnly: true,
  reporter: "list",
  timeout: 60_000,
  expect: { timeout: 15_000 },
  use: {
    launchOptions,
    actionTimeout: 15_000,
    // Pictures of each step would take a third of the time; the trace has the pages themselves.
    trace: { mode: "retain-on-failure", screenshots: false },
    viewport: { width: 1440, height: 900 },
    contextOptions: { reducedMotion: "reduce" },
    geolocation: { latitude: 48.85, longitude: 2.35 },
    permissions: ["camera", "microphone", "geolocation"],
  },
  projects: [
    {
      name: "flows",
      testMatch: ["journeys.e2e.ts", "device.e2e.ts", "replay.e2e.ts", "app.e2e.ts", "devServer.e2e.ts"],
    },
    { name: "accessibility", testMatch: ["accessibility.e2e.ts"] },
  ],
});
