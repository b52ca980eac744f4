import axe from "axe-core";
import { mkdirSync } from "node:fs";
import { join } from "node:path";
import { beforeEach, describe, expect, it } from "vitest";
import { type Desk, useSimulator } from "./desk";

const openDesk = useSimulator();
let desk: Desk;

const pictures = process.env.VECAMERA_SCREENSHOTS;

/** Nothing that axe finds fault with, in the simulator's page and in the app's. */
async function check(state: string): Promise<void> {
  for (const frame of desk.page.frames()) {
    await frame.evaluate(axe.source);
    const found = await frame.evaluate(async () => {
      const run = (globalThis as unknown as { axe: typeof axe }).axe.run;
      const { violations } = await run(document, { iframes: false });
      return violations.map(
        ({ id, nodes }) => `${id}: ${nodes.map(({ html }) => html.slice(0, 160)).join(" | ")}`,
      );
    });
    expect(found, `${state}, ${frame.url()}`).toEqual([]);
  }
}

/** The same, and a picture of it for the docs where those are asked for. */
async function shown(state: string, picture: string): Promise<void> {
  await check(state);
  if (!pictures) return;
  mkdirSync(pictures, { recursive: true });
  // What has just been drawn may not be on the screen yet.
  await desk.page.waitForTimeout(300);
  await desk.page.screenshot({ path: join(pictures, `${picture}.png`) });
}

describe.each([
  ["light", false],
  ["dark", true],
])("in the %s theme", (theme, dark) => {
  const see = (state: string) => shown(state, `${state}-${theme}`);

  beforeEach(async () => {
    desk = await openDesk({ dark, samples: true });
    await desk.chooseScene();
    await desk.page.locator("summary", { hasText: "Cameras and sources" }).click();
  });

  it("every step of a photo can be reached by everybody", async () => {
    await see("start");
    await desk.press("Take a photo");
    await desk.dialog.waitFor();
    await see("permission");
    await desk.answerPrompt(/camera/, "Allow");
    await desk.shutterReady("Take photo");
    await see("camera");
    await desk.takePhoto();
    await see("review");
    await desk.button("Use photo").click();
    await desk.outcome(/^File/);
    await desk.shownSize();
    await see("photo");
    await desk.press("Photo with place");
    await desk.usePhoto();
    await desk.dialog.waitFor();
    await desk.tab(/Open callbacks/);
    await see("location");
  });

  it("so can everything else on the phone", async () => {
    await desk.setPermission("Camera", "authorized");
    await desk.setPermission("Photos", "authorized");
    await desk.options((form) => form.getByLabel("Let me crop it").check());
    await desk.press("From the library");
    await desk.page.locator(".thumbnail").first().waitFor();
    await expect
      .poll(() =>
        desk.page
          .locator(".thumbnail img")
          .evaluateAll((images) =>
            (images as HTMLImageElement[]).every((image) => image.naturalWidth > 0),
          ),
      )
      .toBe(true);
    await see("library");
    await desk.page
      .getByRole("button", { name: /^Photo/ })
      .first()
      .click();
    await desk.page.getByText("Move and scale").waitFor();
    await expect.poll(() => desk.button("Choose").isEnabled()).toBe(true);
    await see("edit");
    await desk.page.keyboard.press("Escape");
    await desk.page.keyboard.press("Escape");
    await desk.outcome(/^You took no picture/);
    await desk.press("Record a movie");
    await desk.recordMovie();
    await see("movie");
    await desk.page.keyboard.press("Escape");
    await desk.page.keyboard.press("Escape");
    await desk.setPermission("Camera", "denied");
    await desk.press("Take a photo");
    await desk.dialog.waitFor();
    await see("alert");
    await desk.dialog.getByRole("button", { name: "Settings" }).click();
    await desk.page.getByRole("dialog", { name: "Settings" }).waitFor();
    await see("settings");
  });

  it("so can everything beside the phone", async () => {
    for (const section of [
      "Location",
      "Cameras and sources",
      "Clock and language",
      "Faults",
      "Temporary files",
      "Appearance",
    ])
      await desk.openSection(section);
    await desk.page.getByRole("combobox", { name: "Clock", exact: true }).selectOption("fixed");
    await desk.page.getByLabel("Instant (ISO 8601)").waitFor();
    await desk.page.getByRole("switch", { name: "Photo library refuses a change" }).press("Space");
    await desk.page.getByLabel("How often").waitFor();
    await see("panel");
    await desk.setPermission("Camera", "authorized");
    await desk.press("Take a photo");
    await desk.usePhoto();
    await desk.outcome(/^File/);
    await desk.tab("Log");
    await see("log");
    await desk.tab("Record and replay");
    await desk.page.setInputFiles("input[accept='.json,application/json']", {
      name: "flow.json",
      mimeType: "application/json",
      buffer: Buffer.from(
        '{"steps": [{"do": "takePicture", "as": "a", "arguments": [100, 0, 1]}, {"do": "cancel"}]}',
      ),
    });
    await desk.button("Play").waitFor();
    await see("replay");
    await desk.button("Keyboard shortcuts").click();
    await desk.page.getByRole("dialog", { name: "Keyboard" }).waitFor();
    await see("shortcuts");
  });
});

describe("the keyboard", () => {
  const focused = () =>
    desk.page.evaluate(
      () => document.activeElement?.textContent?.trim() || document.activeElement?.tagName,
    );

  beforeEach(async () => {
    desk = await openDesk();
  });

  it("stays inside a prompt, and goes back to the app after it", async () => {
    await desk.press("From the library");
    await desk.dialog.waitFor();
    const seen: unknown[] = [];
    for (let count = 0; count < 4; count++) {
      seen.push(await focused());
      await desk.page.keyboard.press("Tab");
    }
    expect(seen).toEqual([
      "Allow all photos",
      "Allow some photos",
      "Don’t allow",
      "Allow all photos",
    ]);
    await desk.page.keyboard.press("Shift+Tab");
    expect(await focused()).toBe("Allow all photos");
    await desk.page.keyboard.press("Shift+Tab");
    expect(await focused()).toBe("Don’t allow");
    await desk.page.keyboard.press("Enter");
    await desk.outcome(/^NO_PERMISSION/);
    await expect.poll(focused).toBe("IFRAME");
  });

  it("has a page of shortcuts, which can be switched off", async () => {
    await desk.page.keyboard.press("?");
    const shortcuts = desk.page.getByRole("dialog", { name: "Keyboard" });
    await shortcuts.getByRole("switch", { name: "Single-key shortcuts" }).press("Space");
    await desk.page.keyboard.press("Escape");
    await expect.poll(() => shortcuts.count()).toBe(0);
    const theme = () => desk.page.evaluate(() => document.documentElement.dataset.theme);
    const before = await theme();
    await desk.page.keyboard.press("t");
    expect(await theme()).toBe(before);
    await desk.button("Dark theme").click();
    await expect.poll(theme).toBe("dark");
  });
});

describe("the layout", () => {
  it.each([
    ["1024 pixels", { width: 1024, height: 720 }, true],
    ["the size of a phone", { width: 390, height: 844 }, false],
  ])("holds at %s", async (name, viewport, wide) => {
    desk = await openDesk({ viewport });
    await shown(name, `at-${viewport.width}`);
    const { inner, outer } = await desk.page.evaluate(() => ({
      inner: document.documentElement.scrollWidth,
      outer: document.documentElement.clientWidth,
    }));
    expect(inner).toBeLessThanOrEqual(outer);
    expect(await desk.page.getByRole("complementary", { name: "Device" }).isVisible()).toBe(wide);
    const phone = await desk.page.getByRole("region", { name: "Phone", exact: true }).boundingBox();
    expect(phone?.x).toBeGreaterThanOrEqual(0);
    expect((phone?.x ?? 0) + (phone?.width ?? 0)).toBeLessThanOrEqual(viewport.width);
  });
});
