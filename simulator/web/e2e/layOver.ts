import { readFileSync } from "node:fs";
import { join } from "node:path";
import type { Page } from "@playwright/test";

const contentTypes: Record<string, string> = {
  html: "text/html; charset=utf-8",
  js: "text/javascript",
  css: "text/css",
  svg: "image/svg+xml",
};

/** Has the page take the parts of the simulator from that folder, and the rest from the server. */
export async function layOver(page: Page, address: string, folder: string): Promise<void> {
  await page.route(`${address}**`, async (route) => {
    const { pathname } = new URL(route.request().url());
    const rest = pathname.slice(new URL(address).pathname.length);
    if (rest !== "" && !rest.startsWith("assets/")) return route.fallback();
    const name = rest === "" ? "index.html" : rest;
    // The headers of the start page stay the server's, its policy above all.
    const headers = rest === "" ? (await route.fetch()).headers() : {};
    delete headers["content-length"];
    const contentType = contentTypes[name.split(".").at(-1) ?? ""] ?? "application/octet-stream";
    await route.fulfill({
      headers: { ...headers, "content-type": contentType },
      body: readFileSync(join(folder, name)),
    });
  });
}
