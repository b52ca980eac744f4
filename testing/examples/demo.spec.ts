import { fileURLToPath } from "node:url";
import { type AppPhone, expect, test } from "../src/index.js";

const sample = (name: string) => fileURLToPath(new URL(`../../samples/${name}`, import.meta.url));
const photo = sample("first-photo.jpg");

const press = (phone: AppPhone, name: string) =>
  phone.app.getByRole("button", { name, exact: true }).click();

const option = async (phone: AppPhone, label: string) => {
  await phone.app.getByText("Options", { exact: true }).click();
  return phone.app.getByLabel(label);
};

// A new phone has not been asked anything yet.
test.beforeEach(({ phone }) =>
  phone.permissions({ camera: "authorized", photoLibrary: "authorized", location: "authorized" }),
);

test("a photo is shown", async ({ phone }) => {
  await press(phone, "Take a photo");
  await phone.capture(photo);
  await expect(phone.app.getByAltText("The picture you took")).toBeVisible();
  expect(await phone.nextAnswer()).toMatchObject({
    result: "success",
    media: { format: "jpeg", orientation: 1 },
  });
});

test("a photo fits into the size that is asked for", async ({ phone }) => {
  await (await option(phone, "Fit into, pixels")).fill("200");
  await press(phone, "Take a photo");
  await phone.capture(photo);
  const { media } = await phone.nextAnswer();
  expect(Math.max(media?.width ?? 0, media?.height ?? 0)).toBe(200);
});

test("the answer can be a PNG in a data URL", async ({ phone }) => {
  await (await option(phone, "Get it as")).selectOption("Data URL");
  await phone.app.getByLabel("Format").selectOption("PNG");
  await press(phone, "Take a photo");
  await phone.capture(photo);
  expect((await phone.nextAnswer()).media).toMatchObject({ format: "png" });
  await expect(phone.app.getByRole("status")).toContainText("Data URL of");
});

test("a user who backs out took no picture", async ({ phone }) => {
  await press(phone, "Take a photo");
  await phone.cancel();
  await expect(phone.app.getByRole("status")).toHaveText("You took no picture.");
});

test("a camera that is refused says so", async ({ phone }) => {
  await phone.permissions({ camera: "denied" });
  await press(phone, "Take a photo");
  await phone.tap("Cancel");
  await expect(phone.app.getByRole("status")).toContainText("NO_PERMISSION");
});

test("a picture comes from the library", async ({ phone }) => {
  await press(phone, "From the library");
  await phone.pick(photo);
  await expect(phone.app.getByAltText("The picture you took")).toBeVisible();
});

test("a movie is played", async ({ phone }) => {
  await press(phone, "Record a movie");
  await phone.capture({ seconds: 1 });
  expect((await phone.nextAnswer()).media).toMatchObject({ kind: "movie", format: "mp4" });
  await expect(phone.app.locator("#picture video")).toBeVisible();
});

test("a photo waits for the place", async ({ phone }) => {
  await press(phone, "Photo with place");
  await phone.capture(photo);
  expect(phone.answers).toHaveLength(0);
  await phone.location({ latitude: 48.85, longitude: 2.35 });
  await expect(phone.app.getByRole("status")).toContainText("File velmora_photo");
});

test("a full photo library is an error that the app shows", async ({ phone }) => {
  await phone.faults({ performChanges: { error: "There is no room left for photos." } });
  await (await option(phone, "Get it as")).selectOption("Library address");
  await press(phone, "Take a photo");
  await phone.capture(photo);
  await expect(phone.app.getByRole("status")).toContainText("There is no room left for photos.");
});

test("the app shows that it waits while the answer is late", async ({ phone }) => {
  const hold = await phone.hold("answer");
  await press(phone, "Take a photo");
  await phone.capture(photo);
  await hold.reached();
  await expect(phone.app.getByRole("status")).toHaveText("Waiting for the picture…");
  await hold.continue();
  await expect(phone.app.getByAltText("The picture you took")).toBeVisible();
});
