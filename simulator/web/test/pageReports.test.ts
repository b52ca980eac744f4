import { describe as suite, expect, it } from "vitest";
import { describe, describeAll, placeIn } from "../src/app/describe";
import { maxTextLength, PageReporter } from "../src/app/PageReporter";
import { pageMessageOf } from "../src/core/pageMessages";

suite("PageReporter", () => {
  const setUp = () => {
    const posted: Record<string, unknown>[] = [];
    const clock = { now: 0 };
    const reporter = new PageReporter(
      (message) => posted.push(message as Record<string, unknown>),
      () => clock.now,
    );
    const log = () => reporter.report({ kind: "console", level: "log", text: "x" });
    return { posted, clock, reporter, log };
  };

  it("leaves out what is too much for one second, and says how much", () => {
    const { posted, clock, log } = setUp();
    for (let i = 0; i < 250; ++i) log();
    expect(posted).toHaveLength(100);
    clock.now = 1000;
    log();
    expect(posted.slice(100)).toEqual([
      { vecamera: "page", kind: "dropped", count: 150 },
      { vecamera: "page", kind: "console", level: "log", text: "x" },
    ]);
  });

  it("always says where the page is", () => {
    const { posted, reporter, log } = setUp();
    for (let i = 0; i < 250; ++i) log();
    reporter.report({ kind: "location", address: "/a" });
    expect(posted.at(-1)).toEqual({ vecamera: "page", kind: "location", address: "/a" });
  });

  it("shortens what is too long", () => {
    const { posted, reporter } = setUp();
    reporter.report({ kind: "error", message: "y".repeat(100_000), line: 7 });
    expect(String(posted[0]?.message)).toHaveLength(maxTextLength + 1);
    expect(posted[0]?.line).toBe(7);
  });
});

suite("describe", () => {
  it.each([
    ["plain", "plain"],
    [-0, "0"],
    [12n, "12n"],
    [Symbol("s"), "Symbol(s)"],
    [null, "null"],
    [[1, "a", [2, [3]]], '[1, "a", [2, [1 items]]]'],
    [{ a: { b: { c: 1 } } }, "{a: {b: {…}}}"],
    [new Map(), "Map {}"],
  ])("writes %s as %s", (value, text) => {
    expect(describe(value)).toBe(text);
  });

  it("fills in a format", () => {
    expect(describeAll(["%cbig%c %s is %d%%", "font: x", "", "a", 5, "more"])).toBe(
      "big a is 5% more",
    );
    expect(describeAll(["100%s"])).toBe("100%s");
  });

  it("runs nothing of the page's", () => {
    const fail = () => {
      throw new Error("the page's code ran");
    };
    const trap = new Proxy({}, { ownKeys: fail, getPrototypeOf: fail });
    const value = { get a() { return fail(); }, toJSON: fail, toString: fail };
    expect(describe(value)).toBe("{a: (getter), toJSON: function, toString: function}");
    expect(describe(trap)).toBe("object");
  });

  it("finds the caller's place in the stacks of all engines", () => {
    const own = "http://a/.vecamera/app.js";
    const chromium = `Error\n    at Object.apply (${own}:1:9)\n    at f (http://a/src/x.js:12:5)`;
    const others = `apply@${own}:1:9\nf@http://a/src/x.js:12:5`;
    for (const stack of [chromium, others])
      expect(placeIn(stack, own)).toEqual({ file: "http://a/src/x.js", line: 12 });
    expect(placeIn("Error\n    at <anonymous>", own)).toBeUndefined();
  });
});

suite("pageMessageOf", () => {
  it("takes a page's messages", () => {
    const message = { kind: "location", address: "/a?b#c" };
    expect(pageMessageOf({ vecamera: "page", ...message })).toEqual(message);
  });

  it.each([
    null,
    "page",
    { vecamera: "hello", version: 1 },
    { vecamera: "page" },
    { vecamera: "page", kind: "toString" },
    { vecamera: "page", kind: "console", level: "log", text: {} },
    { vecamera: "page", kind: "location", address: "//evil.example" },
    { vecamera: "page", kind: "location", address: "http://evil.example" },
    { vecamera: "page", kind: "location", address: "/.vecamera/enter?token=x" },
  ])("takes nothing else: %j", (data) => {
    expect(pageMessageOf(data)).toBeUndefined();
  });
});
