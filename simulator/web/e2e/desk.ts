import { expect, type FrameLocator, type Locator, type Page } from "@playwright/test";
import { layOver } from "./layOver";
import type { SimulatorProcess } from "./SimulatorProcess";

// Pages of a build that is not in the program yet, to try them without building that again.
const overlay = process.env.VECAMERA_WEB;

export type Event = { event: string } & Record<string, unknown>;

export interface DeskOptions {
  dark?: boolean;
  viewport?: { width: number; height: number };
  /** Photos and movies of the program's own. */
  samples?: boolean;
  /** What the app shows when it is there; by default the demo app's button. */
  ready?: string;
  /** What the browser may complain of. */
  allowed?: RegExp;
  /** Whether the app may use the camera from the beginning. */
  camera?: boolean;
}

/** A browser tab with the simulator, and what its user does there. */
export class Desk {
  readonly app: FrameLocator;
  /** Every message of the server, from the first connection on. */
  readonly events: Event[] = [];
  private readonly problems: string[] = [];

  private constructor(
    readonly page: Page,
    allowed?: RegExp,
  ) {
    this.app = page.frameLocator("iframe");
    page.on("websocket", (socket) => {
      // The app may have sockets of its own.
      if (!new URL(socket.url()).pathname.endsWith("/ws")) return;
      socket.on("framereceived", ({ payload }) => {
        const message = JSON.parse(String(payload)) as { type: string; event: Event };
        if (message.type === "event") this.events.push(message.event);
      });
    });
    page.on("pageerror", ({ message }) => {
      if (!allowed?.test(message)) this.problems.push(message);
    });
    page.on("console", (message) => {
      const { url } = message.location();
      // The browser's player looks past the end of a recording, which does not hold its length.
      if (message.type() !== "error" || url.startsWith("blob:")) return;
      if (allowed?.test(message.text())) return;
      this.problems.push(`${message.text()} ${url}`);
    });
  }

  static async open(
    page: Page,
    simulator: SimulatorProcess,
    options: DeskOptions = {},
  ): Promise<Desk> {
    const { dark, viewport, samples, camera } = options;
    await page.emulateMedia({ colorScheme: dark ? "dark" : "light" });
    if (viewport) await page.setViewportSize(viewport);
    const desk = new Desk(page, options.allowed);
    if (overlay) await layOver(page, simulator.address, overlay);
    await page.goto(simulator.address);
    await desk.appReady(options.ready);
    if (samples) {
      await page.getByRole("button", { name: "Samples" }).click();
      await page.locator(".strip img").first().waitFor();
    }
    if (camera) await desk.setPermission("Camera", "authorized");
    return desk;
  }

  /** The tab must have had nothing to complain of. */
  check(): void {
    expect(this.problems).toEqual([]);
  }

  async appReady(text = "Take a photo"): Promise<void> {
    await this.app.getByText(text, { exact: true }).waitFor();
  }

  async press(name: string): Promise<void> {
    await this.app.getByRole("button", { name, exact: true }).click();
  }

  async options(fill: (form: FrameLocator) => Promise<void>): Promise<void> {
    const summary = this.app.locator("summary");
    if ((await this.app.locator("details[open]").count()) === 0) await summary.click();
    await fill(this.app);
  }

  button(name: string | RegExp): Locator {
    return this.page.getByRole("button", { name, exact: typeof name === "string" });
  }

  get dialog(): Locator {
    return this.page.getByRole("alertdialog");
  }

  async answerPrompt(text: RegExp, answer: string): Promise<void> {
    await this.dialog
      .filter({ hasText: text })
      .getByRole("button", { name: answer, exact: true })
      .click();
  }

  async takePhoto(): Promise<void> {
    await this.shutterReady("Take photo");
    await this.button("Take photo").click();
    await this.button(/^Use photo/).waitFor();
  }

  async usePhoto(): Promise<void> {
    await this.takePhoto();
    await this.button("Use photo").click();
  }

  /** A movie of a second or more. */
  async recordMovie(): Promise<void> {
    await this.shutterReady("Start recording");
    await this.button("Start recording").click();
    await this.page
      .getByRole("timer")
      .filter({ hasText: /0:(0[1-9]|[1-5]\d)/ })
      .waitFor();
    await this.button("Stop recording").click();
    await this.button("Use movie").waitFor();
  }

  async shutterReady(name: string): Promise<void> {
    await expect(this.button(name)).toHaveAttribute("aria-busy", "false");
  }

  /** What the app shows of its last call. */
  async outcome(text: RegExp): Promise<void> {
    await this.app.locator("#outcome").filter({ hasText: text }).waitFor();
  }

  /** The size of the picture that the app shows, once it does. */
  async shownSize(): Promise<{ width: number; height: number }> {
    const image = this.app.locator("#picture img");
    await image.waitFor();
    const size = () =>
      image.evaluate((element) => {
        const { naturalWidth: width, naturalHeight: height } = element as HTMLImageElement;
        return { width, height };
      });
    await expect.poll(size).toMatchObject({ width: expect.any(Number) });
    await expect.poll(async () => (await size()).width).toBeGreaterThan(0);
    return size();
  }

  /** The colour of the picture that the app shows, at a point from 0 to 1 on each axis. */
  async shownColour(u: number, v: number): Promise<{ red: number; green: number; blue: number }> {
    await this.shownSize();
    return this.app.locator("#picture img").evaluate(
      (element, point) => {
        const image = element as HTMLImageElement;
        const canvas = document.createElement("canvas");
        canvas.width = image.naturalWidth;
        canvas.height = image.naturalHeight;
        const context = canvas.getContext("2d");
        context?.drawImage(image, 0, 0);
        const at = [canvas.width * point.u, canvas.height * point.v].map(Math.floor);
        const [red = 0, green = 0, blue = 0] =
          context?.getImageData(at[0] ?? 0, at[1] ?? 0, 1, 1).data ?? [];
        return { red, green, blue };
      },
      { u, v },
    );
  }

  async chooseScene(): Promise<void> {
    await this.openSection("Cameras and sources");
    await this.page.getByLabel("The camera sees").selectOption("scene");
  }

  /** The newest command in the inspector. */
  get command(): Locator {
    return this.page.locator(".command").first();
  }

  async tab(name: string | RegExp): Promise<void> {
    await this.page.getByRole("tab", { name }).click();
  }

  async openSection(title: string): Promise<void> {
    const exactly = this.page.locator(".section-title", { hasText: new RegExp(`^${title}$`) });
    const section = this.page.locator("details.section", { has: exactly });
    if ((await section.getAttribute("open")) === null) await section.locator("summary").click();
  }

  /** Does what starts the device anew, and waits until the app is there again. */
  async startAnew(change: () => Promise<unknown>): Promise<void> {
    const loading = this.page.waitForEvent("framenavigated", {
      predicate: (frame) => frame !== this.page.mainFrame() && frame.url().startsWith("http"),
    });
    await change();
    await (await loading).waitForLoadState();
  }

  async setPermission(name: "Camera" | "Photos" | "Location", to: string): Promise<void> {
    await this.page.getByLabel(`${name} now`).selectOption(to);
  }

  answers(): Event[] {
    return this.events.filter((event) => event.event === "answer");
  }

  async download(): Promise<string> {
    await this.tab("Record and replay");
    const waiting = this.page.waitForEvent("download");
    await this.page.getByRole("link", { name: "Download the recording" }).click();
    return (await waiting).path();
  }
}
