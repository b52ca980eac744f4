import type { SimulatorClient } from "../../core/SimulatorClient";

/** A file that the library did not take, by the name that its user knows. */
export interface Refusal {
  name: string;
  why: string;
}

// The server names a file by the place that the upload got.
const reasonFor = (error: unknown, uploaded: string | null): string => {
  const text = (error as Error).message;
  const prefix = `${uploaded}: `;
  return uploaded !== null && text.startsWith(prefix) ? text.slice(prefix.length) : text;
};

/** Adds each file to the photo library, one after the other. Gives those that it did not take. */
export async function addMedia(
  client: Pick<SimulatorClient, "upload" | "step">,
  files: readonly File[],
): Promise<Refusal[]> {
  const refused: Refusal[] = [];
  for (const file of files) {
    let uploaded: string | null = null;
    try {
      uploaded = (await client.upload(file, file.name)).file;
      await client.step({ do: "addAsset", file: uploaded });
    } catch (error) {
      refused.push({ name: file.name, why: reasonFor(error, uploaded) });
    }
  }
  return refused;
}

/** What the user is shown of them; null where there are none. */
export function refusalText(refused: readonly Refusal[], total: number): string | null {
  if (refused.length === 0) return null;
  const lines = refused.map(({ name, why }) => `${name}: ${why}`);
  if (total === 1) return `Not added: ${lines.join("")}`;
  return [`${refused.length} of ${total} files were not added:`, ...lines].join("\n");
}
