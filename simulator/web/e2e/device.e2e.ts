import { expect, test } from "./fixtures";

test.describe("the device", () => {
  test("is as it was after the tab is loaded anew in the middle", async ({ openDesk }) => {
    const desk = await openDesk({ camera: true });
    await desk.press("Take a photo");
    await desk.shutterReady("Take photo");
    await desk.page.reload();
    await desk.usePhoto();
    await desk.command.getByText("success").waitFor();
    await desk.command.getByRole("rowheader", { name: "correctOrientation" }).waitFor();
    // The page that asked is gone; the new one still gets what it asks for.
    await desk.options((form) => form.getByLabel("Get it as").selectOption("dataUrl").then());
    await desk.press("Take a photo");
    await desk.usePhoto();
    await desk.outcome(/^Data URL/);
  });

  test("gives the page its answer after the connection was lost in the middle", async ({
    openDesk,
  }) => {
    const desk = await openDesk({ camera: true });
    await desk.page.addInitScript(() => {
      const Real = WebSocket;
      globalThis.WebSocket = class extends Real {
        override send(data: string) {
          super.send(data);
          if (data.includes('"do":"capture"')) this.close();
        }
      };
    });
    await desk.page.reload();
    await desk.press("Take a photo");
    await desk.usePhoto();
    await desk.outcome(/^File/);
    await desk.command.getByText("success").waitFor();
  });

  test("says so over the phone that another tab took it over, and takes it back", async ({
    openDesk,
  }) => {
    const desk = await openDesk({ camera: true });
    const stored = await desk.page.evaluate(() => ({ ...sessionStorage }));
    const other = await desk.page.context().newPage();
    await other.addInitScript((items) => Object.assign(sessionStorage, items), stored);
    await other.goto(desk.page.url());
    const ended = (page: typeof other) => page.getByRole("alertdialog", { name: /ended here/ });
    await expect(ended(desk.page)).toContainText("This phone was opened in another tab.");
    await ended(desk.page).getByRole("button", { name: "Take it back" }).click();
    await expect(ended(other)).toBeVisible();
    await other.close();
    await expect(ended(desk.page)).toHaveCount(0);
    await desk.appReady();
    await desk.press("Take a photo");
    await desk.usePhoto();
    await desk.outcome(/^File/);
  });

  test("fails where it is set to, and only so often", async ({ openDesk }) => {
    const desk = await openDesk({ camera: true });
    await desk.openSection("Faults");
    await desk.page.getByRole("switch", { name: "File is not created" }).press("Space");
    const often = desk.page.getByLabel("How often");
    await often.selectOption("1");
    await expect.poll(() => often.inputValue()).toBe("1");
    await desk.press("Take a photo");
    await desk.usePhoto();
    await desk.outcome(/^UNABLE_FILE_WRITE: Fail write image file$/);
    await desk.press("Take a photo");
    await desk.usePhoto();
    await desk.outcome(/^File/);
  });

  test("without a camera says so", async ({ openDesk }) => {
    const desk = await openDesk();
    await desk.openSection("Cameras and sources");
    const camera = desk.page.getByRole("switch", { name: "Camera", exact: true });
    await desk.startAnew(() => camera.press("Space"));
    expect(await camera.isChecked()).toBe(false);
    await desk.press("Take a photo");
    await desk.outcome(/^OBJECT_REFERENCE_FAILED: Camera disabled device$/);
  });

  test("offers and presents only what it is set to", async ({ openDesk }) => {
    const desk = await openDesk({ samples: true, camera: true });
    await desk.setPermission("Photos", "authorized");
    await desk.openSection("Cameras and sources");
    const offers = desk.page.getByLabel("Photo library offers");
    await desk.startAnew(() => offers.selectOption("photos"));
    expect(await offers.inputValue()).toBe("photos");
    await desk.press("From the library");
    const pickers = () => desk.events.filter((event) => event.event === "present");
    await expect.poll(pickers).toMatchObject([{ mediaTypes: ["public.image"] }]);
    await desk.page.locator(".thumbnail:focus").waitFor();
    await desk.page.keyboard.press("Escape");
    await desk.outcome(/^You took no picture/);
    const controller = desk.page.getByRole("switch", { name: "View controller" });
    await desk.startAnew(() => controller.press("Space"));
    expect(await controller.isChecked()).toBe(false);
    await desk.press("Take a photo");
    await desk.tab(/Open callbacks/);
    await desk.page.locator(".open-callbacks h3", { hasText: "takePicture" }).waitFor();
    expect(pickers()).toHaveLength(1);
  });

  test("speaks the user's language and keeps the user's time", async ({ openDesk }) => {
    const desk = await openDesk({ camera: true });
    await desk.openSection("Clock and language");
    await desk.page.getByRole("combobox", { name: "Clock", exact: true }).selectOption("fixed");
    const instant = desk.page.getByLabel("Instant (ISO 8601)");
    await instant.fill("2024-05-01T13:05:09Z");
    await instant.press("Enter");
    await desk.page.locator(".status-time", { hasText: "13:05" }).waitFor();
    await desk.button("Move on").click();
    await desk.page.locator(".status-time", { hasText: "14:05" }).waitFor();
    const zone = desk.page.getByLabel("Time zone");
    await zone.fill("Asia/Kathmandu");
    await zone.press("Enter");
    await desk.page.locator(".status-time", { hasText: "18:50" }).waitFor();
    await desk.press("Take a photo");
    await desk.usePhoto();
    await desk.outcome(/^File velmora_photo_20240501065009\.jpg$/);
  });

  test("keeps its temporary files until the page cleans up, or the user removes them", async ({
    openDesk,
  }) => {
    const desk = await openDesk({ camera: true });
    await desk.openSection("Temporary files");
    const files = desk.page.locator(".files li");
    await desk.press("Take a photo");
    await desk.usePhoto();
    await expect.poll(() => files.count()).toBe(1);
    expect(await files.first().textContent()).toMatch(/kB.*picture\d+/);
    await files.getByRole("button").click();
    await expect.poll(() => files.count()).toBe(0);
    await desk.press("Take a photo");
    await desk.usePhoto();
    await expect.poll(() => files.count()).toBe(1);
    await desk.press("Clean up");
    await desk.outcome(/temporary files are gone/);
    await expect.poll(() => files.count()).toBe(0);
  });
});
