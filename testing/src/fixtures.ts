import { type FrameLocator, type Page, test as base } from "@playwright/test";
import { Phone } from "./phone.js";
import { replay } from "./replay.js";
import { Simulator, type SimulatorOptions } from "./simulator.js";

export { expect } from "@playwright/test";

/** A phone with the page in it. */
export interface AppPhone extends Phone {
  /** The page's own frame, to find elements in. */
  readonly app: FrameLocator;
  /** Loads that path of the app. */
  open(path: string): Promise<void>;
  /** Drives the device side of a recorded flow while the real page runs. */
  replay(flow: string): Promise<void>;
}

export interface VecameraOptions {
  /** How the simulator is started: `app`, `program` and so on. */
  vecamera: SimulatorOptions;
}

interface Fixtures {
  /** A phone of the test's own, with the app open in it. */
  phone: AppPhone;
}

interface WorkerFixtures extends VecameraOptions {
  /** One simulator for each worker; each test has a phone of its own. */
  simulator: Simulator;
}

async function show(page: Page, phone: Phone): Promise<AppPhone> {
  // Where the phone has less room it is scaled, and a click in a scaled frame misses its element.
  const { width = 0, height = 0 } = page.viewportSize() ?? {};
  await page.setViewportSize({ width: Math.max(width, 1440), height: Math.max(height, 900) });
  await page.goto(phone.session.page);
  const frame = page.locator("iframe.app-frame");
  const app = page.frameLocator("iframe.app-frame");
  const loaded = () => app.locator("body").waitFor();
  await loaded();
  return Object.assign(phone, {
    app,
    async open(path: string) {
      const address = new URL(path, phone.session.appOrigin).href;
      await frame.evaluate((element, src) => ((element as HTMLIFrameElement).src = src), address);
      await loaded();
    },
    replay: (flow: string) => replay(phone, flow, loaded),
  });
}

/** Playwright's `test` with a `phone`. Its `vecamera` option says which app is in it. */
export const test = base.extend<Fixtures, WorkerFixtures>({
  vecamera: [{}, { scope: "worker", option: true }],
  simulator: [
    async ({ vecamera }, use) => {
      const simulator = await Simulator.start(vecamera);
      await use(simulator);
      await simulator.stop();
    },
    { scope: "worker" },
  ],
  phone: async ({ page, simulator }, use, testInfo) => {
    const phone = await Phone.open(simulator);
    await use(await show(page, phone));
    if (testInfo.status !== testInfo.expectedStatus) {
      await testInfo.attach("phone", { body: phone.seen(), contentType: "text/plain" });
      await testInfo.attach("events", {
        body: phone.events.map((event) => JSON.stringify(event)).join("\n"),
        contentType: "application/jsonl",
      });
    }
    phone.close();
  },
});
