import { cpSync, mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { test as base } from "@playwright/test";
import { Desk, type DeskOptions } from "./desk";
import { SimulatorProcess } from "./SimulatorProcess";

export { expect } from "@playwright/test";

interface WorkerFixtures {
  /** Whether the app is a copy of the demo app, which a test may change. */
  changeableApp: boolean;
  /** The folder or the address of the app; null: the demo app in the program. */
  app: string | null;
  simulator: SimulatorProcess;
}

interface TestFixtures {
  /** Opens the simulator in the test's tab, which may have nothing to complain of to its end. */
  openDesk: (options?: DeskOptions) => Promise<Desk>;
  /** A folder of the test's own. */
  folder: string;
}

const temporaryFolder = () => mkdtempSync(join(tmpdir(), "vecamera-e2e-"));
const remove = (folder: string) => rmSync(folder, { recursive: true, force: true });

export const test = base.extend<TestFixtures, WorkerFixtures>({
  changeableApp: [false, { scope: "worker", option: true }],
  app: [
    async ({ changeableApp }, use) => {
      if (!changeableApp) return use(null);
      const folder = temporaryFolder();
      cpSync(fileURLToPath(new URL("../demo", import.meta.url)), folder, { recursive: true });
      await use(folder);
      remove(folder);
    },
    { scope: "worker" },
  ],
  simulator: [
    async ({ app }, use) => {
      const simulator = await SimulatorProcess.start(app ?? undefined);
      await use(simulator);
      await simulator.stop();
    },
    { scope: "worker" },
  ],
  openDesk: async ({ page, simulator }, use) => {
    const desks: Desk[] = [];
    await use(async (options) => {
      const desk = await Desk.open(page, simulator, options);
      desks.push(desk);
      return desk;
    });
    for (const desk of desks) desk.check();
  },
  folder: async ({}, use) => {
    const folder = temporaryFolder();
    await use(folder);
    remove(folder);
  },
});
