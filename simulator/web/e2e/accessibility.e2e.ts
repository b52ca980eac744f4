import axe from "axe-core";
import { mkdirSync } from "node:fs";
import { join } from "node:path";
import type { Desk } from "./desk";
import { expect, test } from "./fixtures";

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

for (const theme of ["light", "dark"])
  test.describe(`in the ${theme} theme`, () => {
    const dark = theme === "dark";
    const see = (state: string) => shown(state, `${state}-${theme}`);

    test.beforeEach(async ({ openDesk }) => {
      desk = await openDesk({ dark, samples: true });
      await desk.chooseScene();
      await desk.page.locator("summary", { hasText: "Cameras and sources" }).click();
    });

    test("every step of a photo can be reached by everybody", async () => {
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

    test("so can everything else on the phone", async () => {
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

    test("so can everything beside the phone", async () => {
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
      await desk.page
        .getByRole("switch", { name: "Photo library refuses a change" })
        .press("Space");
      await desk.page.getByLabel("How often").waitFor();
      await see("panel");
      await desk.button("Clear…").click();
      await see("clear");
      await desk.button("Keep them").click();
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

test.describe("the keyboard", () => {
  const focused = () =>
    desk.page.evaluate(
      () => document.activeElement?.textContent?.trim() || document.activeElement?.tagName,
    );

  test.beforeEach(async ({ openDesk }) => {
    desk = await openDesk();
  });

  test("goes from a prompt on to the inspector, and back to the app after it", async () => {
    await desk.press("From the library");
    await desk.dialog.waitFor();
    const seen: unknown[] = [];
    for (let count = 0; count < 4; count++) {
      seen.push(await focused());
      await desk.page.keyboard.press("Tab");
    }
    expect(seen).toEqual(["Allow all photos", "Allow some photos", "Don’t allow", "Commands1"]);
    for (let count = 0; count < 2; count++) await desk.page.keyboard.press("Shift+Tab");
    expect(await focused()).toBe("Don’t allow");
    await desk.page.keyboard.press("Enter");
    await desk.outcome(/^NO_PERMISSION/);
    await expect.poll(focused).toBe("IFRAME");
  });

  test("takes a photo, and goes on in the app where it was", async () => {
    const press = (key: string) => desk.page.keyboard.press(key);
    const button = desk.app.getByRole("button", { name: "Take a photo" });
    await button.focus();
    await press("Enter");
    await expect(desk.dialog.getByRole("button", { name: "Don’t allow" })).toBeFocused();
    await press("Tab");
    await press("Enter");
    await expect(desk.button("Take photo")).toBeFocused();
    await desk.shutterReady("Take photo");
    await press("Enter");
    await expect(desk.button("Use photo")).toBeFocused();
    await press("Enter");
    await desk.outcome(/^File/);
    await expect.poll(focused).toBe("IFRAME");
    // The browser goes on from the button that was pressed.
    await press("Tab");
    await expect(desk.app.getByRole("button", { name: "From the library" })).toBeFocused();
  });

  test("is left where somebody works beside the phone", async () => {
    await desk.page.getByLabel("Next prompt for camera").focus();
    await desk.app.getByRole("button", { name: "Take a photo" }).evaluate((one) => {
      (one as HTMLElement).click();
    });
    await desk.dialog.waitFor();
    await expect(desk.page.getByLabel("Next prompt for camera")).toBeFocused();
  });

  test("has a page of shortcuts, which can be switched off", async () => {
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

test.describe("the layout", () => {
  const device = () => desk.page.getByRole("complementary", { name: "Device" });
  const inspector = () => desk.page.getByRole("region", { name: "Inspector" });
  const phone = () => desk.page.getByRole("region", { name: "Phone", exact: true });
  const overflow = () =>
    desk.page.evaluate(() => {
      const { scrollWidth, clientWidth } = document.documentElement;
      return scrollWidth - clientWidth;
    });

  test("holds at 1024 pixels", async ({ openDesk }) => {
    desk = await openDesk({ viewport: { width: 1024, height: 720 } });
    await shown("1024 pixels", "at-1024");
    expect(await overflow()).toBe(0);
    for (const part of [device(), inspector(), phone()]) await expect(part).toBeVisible();
  });

  for (const [name, viewport] of [
    ["200 percent", { width: 720, height: 450 }],
    ["the size of a phone", { width: 390, height: 844 }],
    ["the size of a phone and 200 percent", { width: 320, height: 422 }],
  ] as const)
    test(`shows one part at a time at ${name}`, async ({ openDesk }) => {
      desk = await openDesk({ viewport });
      const parts = { Phone: phone(), Device: device(), Inspector: inspector() };
      for (const [label, part] of Object.entries(parts)) {
        await desk.page.getByRole("radio", { name: label }).check();
        for (const other of Object.values(parts))
          await expect(other).toBeVisible({ visible: other === part });
        await shown(`${label} at ${name}`, `at-${viewport.width}-${label.toLowerCase()}`);
        expect(await overflow(), label).toBe(0);
      }
      // The phone is as large as its text, and no smaller for want of room.
      await desk.page.keyboard.press("p");
      await phone().waitFor();
      const scale = await phone().evaluate(
        (one) => one.getBoundingClientRect().width / (one as HTMLElement).offsetWidth,
      );
      expect(scale).toBe(1);
    });

  test("keeps the header where every section of the panel is open", async ({ openDesk }) => {
    desk = await openDesk();
    const sections = desk.page.locator(".panel summary");
    for (let at = 2; at < (await sections.count()); at++) await sections.nth(at).click();
    await desk.page.getByRole("switch", { name: "Animations" }).focus();
    const header = await desk.page.getByRole("banner").boundingBox();
    expect(header?.y).toBe(0);
    await desk.page.reload();
    await desk.appReady();
    await expect(desk.page.locator(".panel details[open]")).toHaveCount(await sections.count());
  });
});
