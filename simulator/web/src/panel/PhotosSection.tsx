import { useState } from "preact/hooks";
import { useSimulator } from "../ui/context";
import { Button, FileButton, Section } from "../ui/controls";
import { useLibrary } from "../ui/library";

export function PhotosSection() {
  const { client, model } = useSimulator();
  const { assets } = useLibrary();
  const [over, setOver] = useState(false);
  const [busy, setBusy] = useState(false);

  const during = async (work: () => Promise<unknown>) => {
    setBusy(true);
    await client.noticing(work);
    setBusy(false);
  };
  const add = (files: File[]) =>
    during(async () => {
      for (const file of files) {
        const uploaded = await client.upload(file, file.name);
        await client.step({ do: "addAsset", file: uploaded.file });
      }
    });
  const clear = () =>
    during(async () => {
      for (const asset of assets ?? []) await client.step({ do: "removeAsset", asset: asset.id });
    });

  const idle = model.state !== null && !busy;
  return (
    <Section title="Photo library" icon="photos" aside={assets ? assets.length : undefined} open>
      <div
        class={`drop${over ? " over" : ""}`}
        onDragOver={(event) => {
          event.preventDefault();
          setOver(true);
        }}
        onDragLeave={() => setOver(false)}
        onDrop={(event) => {
          event.preventDefault();
          setOver(false);
          const files = [...(event.dataTransfer?.files ?? [])];
          if (files.length > 0 && idle) void add(files);
        }}
      >
        {assets && assets.length > 0 ? (
          <ul class="strip" aria-label="Newest in the library">
            {assets
              .slice(-4)
              .reverse()
              .map((asset) => (
                <li key={asset.id}>
                  <img
                    src={client.thumbnail(asset.id, 128)}
                    alt={`${asset.type} ${asset.width} by ${asset.height}`}
                  />
                </li>
              ))}
          </ul>
        ) : (
          <p class="hint">{assets ? "No photos yet." : "…"}</p>
        )}
        <p class="hint">{busy ? "One moment…" : "Drop photos and movies here."}</p>
      </div>
      <div class="button-row">
        <FileButton
          label="Add…"
          icon="upload"
          accept="image/*,video/*"
          multiple
          disabled={!idle}
          onFiles={(files) => void add(files)}
        />
        <Button
          label="Samples"
          disabled={!idle}
          onClick={() => void during(() => client.restoreSamples())}
        />
        <Button
          label="Clear"
          look="danger"
          disabled={!idle || !assets?.length}
          onClick={() => void clear()}
        />
      </div>
    </Section>
  );
}
