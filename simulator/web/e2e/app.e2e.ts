import { readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { expect, test } from "./fixtures";

test.use({ changeableApp: true });

test("the app is loaded again when a file of it changes, and the phone stays as it is", async ({
  openDesk,
  app,
}) => {
  const desk = await openDesk({ samples: true });
  await desk.setPermission("Camera", "authorized");
  await desk.press("Take a photo");
  await desk.shutterReady("Take photo");

  const page = join(app ?? "", "index.html");
  const text = readFileSync(page, "utf8");
  writeFileSync(page, text.replace("</body>", "<p>A better app</p></body>"));
  await desk.app.getByText("A better app").waitFor();
  expect(await desk.page.locator(".strip img").count()).toBeGreaterThan(0);

  // The answer to the page that is gone is none to the new page's own call.
  await desk.usePhoto();
  await desk.command.getByText("success").waitFor();
  await desk.options((form) => form.getByLabel("Get it as").selectOption("dataUrl").then());
  await desk.press("Take a photo");
  await desk.usePhoto();
  await desk.outcome(/^Data URL/);
});
