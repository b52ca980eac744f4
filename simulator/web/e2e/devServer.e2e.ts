import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { test as base, expect } from "./fixtures";
import { TestDevServer } from "./TestDevServer";

const served = base.extend<object, { server: TestDevServer }>({
  server: [
    async ({}, use) => {
      const server = new TestDevServer();
      await server.start();
      await use(server);
      await server.stop();
    },
    { scope: "worker" },
  ],
  app: [async ({ server }, use) => use(`${server.origin}/start?a=1#b`), { scope: "worker" }],
});

// One of the tests ends the server for a while.
served.describe("a development server", () => {
  served.describe.configure({ mode: "default" });
  // Of the pages that are shown while the server is down and in the place of a redirect, of a closed
  // socket, and of an error that is thrown on purpose.
  const ready = { ready: "Ready", allowed: /503|403|WebSocket|the page's own/ };

  served("is the page, at the address that was asked for", async ({ openDesk }) => {
    const desk = await openDesk(ready);
    await desk.app.getByText("/start?a=1#b").waitFor();
    expect(await desk.app.locator("script[src]").count()).toBe(0);
  });

  served("changes the page over its own socket, and the page keeps its state", async ({ openDesk, server }) => {
    const desk = await openDesk(ready);
    await desk.app.getByRole("button", { name: "0" }).click();
    // The page's socket may not be open yet.
    await expect
      .poll(() => {
        server.change("second");
        return desk.app.locator("#text").textContent();
      })
      .toBe("second");
    expect(await desk.app.locator("#count").textContent()).toBe("1");
  });

  served("shows the same address again when the tab is loaded anew", async ({ openDesk }) => {
    const desk = await openDesk(ready);
    await desk.press("Deeper");
    await desk.app.getByText("/deep/er?x=1#y").waitFor();
    await desk.page.reload();
    await desk.app.getByText("/deep/er?x=1#y").waitFor();
  });

  served("notifies the simulator of errors, with their place", async ({ openDesk }) => {
    const desk = await openDesk(ready);
    const message = desk.page.evaluate(
      () =>
        new Promise<Record<string, unknown>>((resolve) =>
          window.addEventListener("message", ({ data }) => {
            if ((data as { kind?: string }).kind === "error") resolve(data as never);
          }),
        ),
    );
    await desk.press("Fail");
    expect(await message).toMatchObject({
      vecamera: "page",
      message: expect.stringContaining("the page's own"),
      file: expect.stringContaining("/start?a=1"),
      line: expect.any(Number),
      stack: expect.stringContaining("Error"),
    });
  });

  served("comes alive by itself after a time in which it was down", async ({ openDesk, server }) => {
    const desk = await openDesk(ready);
    await server.stop();
    await desk.page.reload();
    await desk.app.getByRole("heading", { name: "Waiting for your server" }).waitFor();
    await desk.app.getByText(server.origin).waitFor();
    await server.start();
    await desk.app.getByText("/start?a=1#b").waitFor();
  });

  served("may not lead off the app, and the phone says so", async ({ openDesk }) => {
    const desk = await openDesk(ready);
    await desk.app.getByRole("link", { name: "Leave" }).click();
    await desk.app.getByRole("heading", { name: "The app was left" }).waitFor();
    await desk.app.getByText("http://login.example/?next=app").waitFor();
  });
});

const busy = base.extend<object, object>({
  app: [
    async ({}, use: (app: string) => Promise<void>) => {
      const folder = mkdtempSync(join(tmpdir(), "vecamera-busy-"));
      writeFileSync(
        join(folder, "index.html"),
        `<!doctype html><title>Busy</title><h1>Ready</h1><button id="loop">Loop</button>
         <script>
           loop.onclick = () => {
             const end = Date.now() + 6000;
             while (Date.now() < end);
             document.body.append("over");
           };
         </script>`,
      );
      await use(folder);
      rmSync(folder, { recursive: true, force: true });
    },
    { scope: "worker" },
  ],
});

// A trace looks into every frame, and so waits for the one that is busy.
busy.use({ trace: "off" });

busy("a page that is busy does not hold up the simulator around it", async ({ openDesk }) => {
  const desk = await openDesk({ ready: "Ready" });
  const { page } = desk;
  const begin = Date.now();
  // The click is over when the page has handled it.
  const looping = desk.press("Loop");
  await page.waitForTimeout(500);
  const longestPause = await page.evaluate(
    () =>
      new Promise<number>((resolve) => {
        let last = performance.now();
        let longest = 0;
        const timer = setInterval(() => {
          longest = Math.max(longest, performance.now() - last);
          last = performance.now();
        }, 20);
        setTimeout(() => {
          clearInterval(timer);
          resolve(Math.max(longest, performance.now() - last));
        }, 3000);
      }),
  );
  await page.getByRole("button", { name: "Keyboard shortcuts" }).click();
  await page.getByRole("dialog").waitFor();
  expect(Date.now() - begin).toBeLessThan(6000);
  expect(longestPause).toBeLessThan(1000);
  await page.keyboard.press("Escape");
  await looping;
  await desk.app.getByText("over").waitFor();
  expect(Date.now() - begin).toBeGreaterThanOrEqual(6000);
});
