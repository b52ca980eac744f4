import { readFile } from "node:fs/promises";
import { dirname, resolve } from "node:path";
import { PhoneError } from "./errors.js";
import type { Json, JsonObject, Permission, Step } from "./messages.js";
import type { Phone } from "./phone.js";

/** Steps that the page itself does while a flow is replayed. */
const pageCommands = ["takePicture", "cleanup"];
/** The key under which a step names a file. */
const fileKeys: Record<string, readonly string[]> = {
  capture: ["photo", "movie"],
  addAsset: ["file"],
};

interface Flow {
  device?: JsonObject;
  steps: Step[];
}

/**
 * Drives the device side of a recorded flow while the real page runs: the device begins as the flow's
 * does, `begin` loads the page anew, and each step waits for its turn. Where the flow's page called
 * the plug-in, the test's page must do so, with the same command.
 */
export async function replay(
  phone: Phone,
  path: string,
  begin: () => Promise<unknown> = async () => {},
): Promise<void> {
  const flow = await readFlow(path);
  await phone.restart(await deviceOf(phone, flow.device ?? {}, dirname(path)));
  await begin();
  let calls = 0;
  for (const [index, step] of flow.steps.entries()) {
    const place = `${path}: step ${index} (${step.do})`;
    try {
      if (pageCommands.includes(step.do)) {
        const expected = calls;
        await phone.wait(`a call of ${step.do} by the page`, () => phone.calls.length > expected);
        const made = phone.calls[calls++];
        if (made && made.command !== step.do)
          throw new PhoneError(`the page called ${made.command} instead`, "replay");
      } else await play(phone, await withFiles(phone, step, dirname(path)));
    } catch (error) {
      if (!(error instanceof PhoneError)) throw error;
      throw new PhoneError(`${place}: ${error.message}`, error.code);
    }
  }
}

async function readFlow(path: string): Promise<Flow> {
  const fail = (why: string) => new PhoneError(`${path}: ${why}`, "replay");
  let text: string;
  try {
    text = await readFile(path, "utf8");
  } catch (error) {
    throw fail(`it cannot be read: ${(error as Error).message}`);
  }
  try {
    const flow = JSON.parse(text) as Partial<Flow>;
    if (Array.isArray(flow.steps)) return flow as Flow;
  } catch (error) {
    throw fail(`it is no JSON: ${(error as Error).message}`);
  }
  throw fail("it is no device script: it has no steps");
}

/** Waits until the step can be played, as the methods of `Phone` do, and plays it. */
async function play(phone: Phone, step: Step): Promise<void> {
  switch (step.do) {
    case "capture":
      await phone.waitForCamera();
      return phone.step(step);
    case "pick":
      await phone.waitForLibrary();
      return phone.step(step);
    case "cancel":
      return phone.cancel();
    case "tap":
      return phone.tap(step.action as string);
    case "answer":
      return phone.answerPrompt(step.prompt as Permission, step.with as string);
    default:
      return phone.step(step);
  }
}

const isUpload = (value: Json | undefined): value is string => typeof value === "string";

/** The step with its files uploaded. */
async function withFiles(phone: Phone, step: Step, folder: string): Promise<Step> {
  const changed: Step = { ...step };
  for (const key of fileKeys[step.do] ?? []) {
    const value = step[key];
    if (isUpload(value)) changed[key] = await upload(phone, value, folder);
  }
  return changed;
}

async function upload(phone: Phone, file: string, folder: string): Promise<string> {
  const data = /^data:([^;,]+);base64,(.*)$/s.exec(file);
  if (!data) return phone.upload(resolve(folder, file));
  const [, type = "", base64 = ""] = data;
  const extension = type.split("/")[1]?.replace("quicktime", "mov") ?? "bin";
  return phone.upload({ name: `recorded.${extension}`, bytes: Buffer.from(base64, "base64") });
}

/** The flow's `device` part as a phone of the simulator takes it. */
async function deviceOf(phone: Phone, device: JsonObject, folder: string): Promise<JsonObject> {
  const { temporaryDirectory: _, mainBundle: __, files: ___, urlTransformer: ____, ...rest } = device;
  if (!Array.isArray(rest.library)) return rest;
  const library: Json[] = [];
  for (const asset of rest.library as { id: string; file: string }[])
    library.push({ ...asset, file: await upload(phone, asset.file, folder) });
  return { ...rest, library };
}
