import { execFile } from "node:child_process";
import { readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { promisify } from "node:util";
import type { Desk, Event } from "./desk";
import { expect, test } from "./fixtures";
import { program } from "./SimulatorProcess";

/** Events with the addresses of temporary files made the same, whatever the container makes of them. */
const comparable = (events: Event[]): unknown[] =>
  JSON.parse(
    JSON.stringify(events).replace(/"[^"]*\/(?=velmora_photo_\d+\.\w+")/g, '"TEMPORARY/'),
  ) as unknown[];

const played = async (script: string): Promise<Event[]> => {
  const { stdout } = await promisify(execFile)(program, ["run", script], { maxBuffer: 2 ** 28 });
  return stdout
    .trim()
    .split("\n")
    .map((line) => JSON.parse(line) as Event);
};

/** The recording, as the user saves it. */
const saved = async (desk: Desk, folder: string): Promise<string> => {
  const script = join(folder, "session.json");
  writeFileSync(script, readFileSync(await desk.download()));
  return script;
};

const session = async (desk: Desk) => {
  await desk.press("Take a photo");
  await desk.answerPrompt(/camera/, "Allow");
  await desk.usePhoto();
  await desk.outcome(/^File/);

  // Files of one kind need seconds of their own, as their names hold the time.
  await desk.options((form) => form.getByLabel("Get it as").selectOption("dataUrl").then());
  await desk.press("From the library");
  await desk.answerPrompt(/photos/, "Allow all photos");
  await desk.page
    .getByRole("button", { name: /^Photo/ })
    .first()
    .click();
  await desk.outcome(/^Data URL/);

  await desk.press("Photo with place");
  await desk.usePhoto();
  await desk.answerPrompt(/where you are/, "Allow while using");
  await desk.outcome(/with the place looked up$/);

  await desk.options((form) => form.getByLabel("Get it as").selectOption("nativeUrl").then());
  await desk.press("Take a photo");
  await desk.usePhoto();
  await desk.outcome(/^Library address/);

  await desk.options((form) => form.getByLabel("Get it as").selectOption("fileUrl").then());
  await desk.press("Record a movie");
  await desk.recordMovie();
  await desk.button("Use movie").click();
  await desk.outcome(/^File .*mp4$/);

  await desk.setPermission("Camera", "denied");
  await desk.press("Take a photo");
  await desk.dialog.getByRole("button", { name: "Cancel" }).click();
  await desk.outcome(/^NO_PERMISSION/);
  await desk.press("Clean up");
  await desk.outcome(/temporary files are gone/);
};

test("plays a recording with the program to the same events, one by one", async ({
  openDesk,
  folder,
}) => {
  const desk = await openDesk({ samples: true });
  await session(desk);
  const events = await played(await saved(desk, folder));
  expect(desk.answers()).toHaveLength(7);
  expect(comparable(events)).toEqual(comparable(desk.events));
});

test("plays a recording on the phone", async ({ openDesk, folder }) => {
  const desk = await openDesk({ samples: true });
  await desk.press("Take a photo");
  await desk.answerPrompt(/camera/, "Don’t allow");
  await desk.dialog.getByRole("button", { name: "Cancel" }).click();
  await desk.outcome(/^NO_PERMISSION/);
  await desk.setPermission("Camera", "authorized");
  await desk.press("Take a photo");
  await desk.usePhoto();
  await desk.outcome(/^File/);
  // What is new in the library has an identifier that follows from the seed.
  await desk.setPermission("Photos", "authorized");
  await desk.options((form) => form.getByLabel("Get it as").selectOption("nativeUrl").then());
  await desk.press("Take a photo");
  await desk.usePhoto();
  await desk.outcome(/^Library address/);
  const live = desk.events.splice(0);

  const script = await saved(desk, folder);
  await desk.page.setInputFiles("input[accept='.json,application/json']", script);
  await desk.page.getByLabel("Speed").selectOption("8");
  await desk.button("Play").click();
  // It goes on while something else is looked at.
  await desk.tab("Log");
  await desk.page.locator(".log-present").first().waitFor();
  await desk.tab("Record and replay");
  await desk.page.getByText("The script was played to its end.").waitFor();
  expect(comparable(desk.events)).toEqual(comparable(live));
  expect(comparable(desk.events)).toEqual(comparable(await played(script)));
});

test("leaves open what the recording left open", async ({ openDesk, folder }) => {
  const desk = await openDesk({ samples: true });
  await desk.setPermission("Camera", "authorized");
  await desk.setPermission("Location", "authorized");
  await desk.openSection("Location");
  const finds = desk.page.getByLabel("The device finds itself");
  await finds.selectOption("none");
  await desk.press("Photo with place");
  await desk.usePhoto();
  await desk.tab(/Open callbacks/);
  const waits = desk.page.getByText("A location fix, where the user allows the location.");
  await waits.waitFor();
  const script = await saved(desk, folder);
  await finds.selectOption("fix");
  await desk.outcome(/^File/);

  desk.events.splice(0);
  await desk.page.setInputFiles("input[accept='.json,application/json']", script);
  await desk.page.getByLabel("Speed").selectOption("8");
  await desk.button("Play").click();
  await desk.page.getByText("The script was played to its end.").waitFor();
  await desk.tab(/Open callbacks/);
  // A fix would come before what the user does next.
  await desk.openSection("Faults");
  await desk.page.getByRole("switch", { name: "File is not created" }).press("Space");
  await desk.page.getByLabel("How often").waitFor();
  await waits.waitFor();
  expect(desk.answers()).toEqual([]);
  await finds.selectOption("track");
  await expect.poll(() => desk.answers().length).toBe(1);
});

test("asks for the files that a script only names, and stops where it cannot go on", async ({
  openDesk,
}) => {
  const desk = await openDesk({ samples: true });
  const steps = [
    { do: "takePicture", as: "a", arguments: [100, 0, 0] },
    { do: "capture", photo: "pictures/beach.jpg" },
  ];
  await desk.tab("Record and replay");
  await desk.page.setInputFiles("input[accept='.json,application/json']", {
    name: "flow.json",
    mimeType: "application/json",
    buffer: Buffer.from(JSON.stringify({ steps })),
  });
  await desk.page.locator(".missing", { hasText: "pictures/beach.jpg" }).waitFor();
  await desk.page.setInputFiles(".missing input", {
    name: "beach.jpg",
    mimeType: "image/jpeg",
    buffer: Buffer.from("no picture"),
  });
  await desk.button("Step").click();
  await desk.page.getByText("1 of 2 steps").waitFor();
  await desk.page.getByRole("dialog", { name: "Photo library" }).waitFor();
  await desk.button("Step").click();
  await desk.page.getByText("Step 1 (capture): there is no camera picker on screen").waitFor();
});
