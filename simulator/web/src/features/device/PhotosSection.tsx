import { useState } from "preact/hooks";
import { useSimulator } from "../../state/context";
import { Button, FileButton } from "../../ui/controls";
import { PageDialog } from "../../ui/PageDialog";
import { Thumbnail } from "../../ui/Thumbnail";
import { addMedia, refusalText } from "./addMedia";
import { PanelSection } from "./PanelSection";

export function PhotosSection() {
  const simulator = useSimulator();
  const { client, model } = simulator;
  const assets = simulator.assets.value;
  const [over, setOver] = useState(false);
  const [busy, setBusy] = useState(false);
  const [asking, setAsking] = useState(false);

  const during = async (work: () => Promise<unknown>) => {
    setBusy(true);
    await client.noticing(work);
    setBusy(false);
  };
  const add = (files: File[]) =>
    during(async () => {
      const text = refusalText(await addMedia(client, files), files.length);
      if (text !== null) throw new Error(text);
    });
  const clear = () =>
    during(async () => {
      for (const asset of assets ?? []) await client.step({ do: "removeAsset", asset: asset.id });
    });

  const idle = model.state.value !== null && !busy;
  return (
    <PanelSection title="Photo library" icon="photos" aside={assets ? assets.length : undefined}>
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
                  <Thumbnail
                    address={client.thumbnail(asset.id, 128)}
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
          label="Clear…"
          look="danger"
          disabled={!idle || !assets?.length}
          onClick={() => setAsking(true)}
        />
      </div>
      {asking && (
        <ClearDialog
          count={assets?.length ?? 0}
          onClear={() => void clear()}
          onClose={() => setAsking(false)}
        />
      )}
    </PanelSection>
  );
}

function ClearDialog(props: { count: number; onClear: () => void; onClose: () => void }) {
  const { count, onClear, onClose } = props;
  const what = count === 1 ? "the one photo or movie" : `all ${count} photos and movies`;
  return (
    <PageDialog title="Clear the photo library?" narrow onClose={onClose}>
      <p>This removes {what}. They cannot be brought back.</p>
      <div class="button-row">
        <Button
          label="Remove them"
          icon="trash"
          look="danger"
          onClick={() => {
            onClose();
            onClear();
          }}
        />
        <Button label="Keep them" onClick={onClose} />
      </div>
    </PageDialog>
  );
}
