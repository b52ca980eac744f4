import { execFileSync, spawn } from "node:child_process";
import { mkdirSync, mkdtempSync, rmSync, symlinkSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { dirname, join } from "node:path";
import { createInterface } from "node:readline";
import { fileURLToPath } from "node:url";
import { test as base, expect } from "../src/index.js";

const here = fileURLToPath(new URL("..", import.meta.url));
const photo = join(here, "../samples/first-photo.jpg");
const packageFolder = (name: string) =>
  dirname(createRequire(import.meta.url).resolve(`${name}/package.json`));

/** The page client as its tarball holds it. */
function installClient(modules: string): void {
  const packed = execFileSync(
    "npm",
    ["pack", "--ignore-scripts", "--json", "--pack-destination", modules],
    { cwd: join(here, "../page"), encoding: "utf8", stdio: ["ignore", "pipe", "ignore"] },
  );
  const [{ filename, name }] = JSON.parse(packed) as [{ filename: string; name: string }];
  mkdirSync(join(modules, name));
  execFileSync("tar", ["-xzf", filename, "-C", name, "--strip-components=1"], { cwd: modules });
  rmSync(join(modules, filename));
}

const title = (text: string) => `export const title = ${JSON.stringify(text)};\n`;

const main = `
import "./style.css";
import { createCamera } from "vecamera-page";
import { frameBridge } from "vecamera-page/frame-bridge";
import { title } from "./title.ts";

const camera = createCamera(frameBridge());
const app = document.querySelector<HTMLDivElement>("#app")!;
app.innerHTML = \`
  <h1></h1>
  <button type="button" id="count">0</button>
  <button type="button" id="take">Take a photo</button>
  <img id="photo" alt="The photo" hidden>
\`;
const find = <T extends Element>(selector: string) => app.querySelector<T>(selector)!;
const heading = find<HTMLHeadingElement>("h1");
heading.textContent = title;

let count = 0;
const counter = find<HTMLButtonElement>("#count");
counter.onclick = () => (counter.textContent = String(++count));

find<HTMLButtonElement>("#take").onclick = async () => {
  const picture = await camera.takePicture({ destination: "fileUrl", quality: 100 });
  if (picture.kind !== "fileUrl") throw new Error(picture.kind);
  const photo = find<HTMLImageElement>("#photo");
  photo.src = picture.url;
  photo.hidden = false;
};

import.meta.hot?.accept("./title.ts", (changed) => {
  heading.textContent = changed?.title;
});
`;

interface Project {
  folder: string;
  address: string;
}

/** A new project of the generator's, with a page of our own and its development server running. */
async function startProject(): Promise<Project & { stop(): void }> {
  const parent = mkdtempSync(join(tmpdir(), "vecamera-vite-"));
  const generator = join(packageFolder("create-vite"), "index.js");
  execFileSync(process.execPath, [generator, "app", "--template", "vanilla-ts"], {
    cwd: parent,
    stdio: "ignore",
  });
  const folder = join(parent, "app");
  const modules = join(folder, "node_modules");
  mkdirSync(modules);
  for (const name of ["vite", "typescript"]) symlinkSync(packageFolder(name), join(modules, name));
  installClient(modules);
  writeFileSync(join(folder, "src/main.ts"), main);
  writeFileSync(join(folder, "src/title.ts"), title("First title"));

  const vite = join(packageFolder("vite"), "bin/vite.js");
  const server = spawn(process.execPath, [vite, "--port", "0", "--host", "127.0.0.1"], {
    cwd: folder,
    env: { ...process.env, NO_COLOR: "1" },
    stdio: ["ignore", "pipe", "inherit"],
  });
  const address = await new Promise<string>((resolve, reject) => {
    server.once("exit", (code) => reject(new Error(`vite ended with ${code}`)));
    createInterface({ input: server.stdout }).on("line", (line) => {
      const found = /http:\S+/.exec(line)?.[0];
      if (found) resolve(found);
    });
  });
  const stop = () => {
    server.kill();
    rmSync(parent, { recursive: true, force: true });
  };
  return { folder, address, stop };
}

const test = base.extend<object, { project: Project }>({
  project: [
    async ({}, use) => {
      const project = await startProject();
      await use(project);
      project.stop();
    },
    { scope: "worker" },
  ],
  vecamera: [async ({ project }, use) => use({ app: project.address }), { scope: "worker" }],
});

test("a development server's page is edited in the phone and takes a photo", async ({
  phone,
  project,
}) => {
  const button = (name: string) => phone.app.getByRole("button", { name, exact: true });
  await button("0").click();
  await expect(button("1")).toBeVisible();
  writeFileSync(join(project.folder, "src/title.ts"), title("Second title"));
  await expect(phone.app.getByRole("heading")).toHaveText("Second title");
  // The module was replaced, and the page was not loaded anew.
  await expect(button("1")).toBeVisible();

  await phone.permissions({ camera: "authorized" });
  await button("Take a photo").click();
  await phone.capture(photo);
  const shown = phone.app.getByAltText("The photo");
  await expect(shown).toBeVisible();
  await expect
    .poll(() => shown.evaluate((image) => (image as HTMLImageElement).naturalWidth))
    .toBeGreaterThan(0);
});
