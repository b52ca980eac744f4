import { describe, expect, it } from "vitest";
import type { DeviceSetup } from "../src/core/messages";
import { tidyFault, withFault } from "../src/features/device/faultPoints";
import { mediaChoiceOf, withMediaChoice } from "../src/features/device/mediaChoices";

describe("what a source offers", () => {
  it.each([
    ["both", undefined],
    ["both", { "1": ["public.movie", "public.image"] }],
    ["photos", { "1": ["public.image"] }],
    ["movies", { "1": ["public.movie"] }],
    ["none", { "1": null }],
    ["none", { "1": [] }],
    ["both", { "0": null }],
  ] as const)("is %s with %j", (choice, availableMediaTypes) => {
    const device = JSON.parse(JSON.stringify({ availableMediaTypes })) as DeviceSetup;
    expect(mediaChoiceOf(device, 1)).toBe(choice);
    const changed = { availableMediaTypes: withMediaChoice(device, 1, choice) };
    expect(mediaChoiceOf(changed, 1)).toBe(choice);
    expect(mediaChoiceOf(changed, 0)).toBe(mediaChoiceOf(device, 0));
  });
});

describe("faults", () => {
  it("says nothing with fields that were left empty", () => {
    expect(tidyFault({ at: "removeItem", path: "", error: "no", times: 0 })).toEqual({
      at: "removeItem",
      error: "no",
    });
    expect(tidyFault({ at: "performChanges", returns: false })).toEqual({
      at: "performChanges",
      returns: false,
    });
  });

  it("has one fault at a place", () => {
    const faults = withFault([{ at: "export" }, { at: "createFile" }], "export", {
      at: "export",
      times: 2,
    });
    expect(faults).toEqual([{ at: "createFile" }, { at: "export", times: 2 }]);
    expect(withFault(faults, "export", null)).toEqual([{ at: "createFile" }]);
  });
});
