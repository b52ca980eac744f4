import { describe, expect, it } from "vitest";
import type { Step } from "../src/core/messages";
import { addMedia, refusalText } from "../src/features/device/addMedia";

const file = (name: string) => new File([], name);

/** A phone that takes files by what they are called. */
class PickyPhone {
  readonly added: unknown[] = [];
  private count = 0;

  async upload(_: Blob, name: string): Promise<{ file: string; bytes: number }> {
    if (name.includes("huge")) throw new Error("a body has at most 256 MiB");
    return Promise.resolve({ file: `media/${this.count++}-${name}`, bytes: 0 });
  }
  async step(step: Step): Promise<void> {
    const uploaded = String(step.file as string);
    if (uploaded.includes("animated")) throw new Error(`${uploaded}: an animation is no picture`);
    if (uploaded.includes("odd")) throw new Error("the device is broken");
    this.added.push(uploaded);
    return Promise.resolve();
  }
}

describe("files that are added to the photo library", () => {
  it("are taken where they are good, and each other one is named as its user named it", async () => {
    const phone = new PickyPhone();
    const names = ["a.jpg", "animated.webp", "huge.mov", "b.png", "odd.jpg"];
    const refused = await addMedia(phone, names.map(file));
    expect(phone.added).toEqual(["media/0-a.jpg", "media/2-b.png"]);
    expect(refused).toEqual([
      { name: "animated.webp", why: "an animation is no picture" },
      { name: "huge.mov", why: "a body has at most 256 MiB" },
      { name: "odd.jpg", why: "the device is broken" },
    ]);
  });

  it.each([
    [0, 3, null],
    [1, 1, "Not added: 0.jpg: no picture"],
    [2, 3, "2 of 3 files were not added:\n0.jpg: no picture\n1.jpg: no picture"],
  ])("%i refused of %i are reported as such", (count, total, text) => {
    const refused = Array.from({ length: count }, (_, at) => ({
      name: `${at}.jpg`,
      why: "no picture",
    }));
    expect(refusalText(refused, total)).toBe(text);
  });
});
