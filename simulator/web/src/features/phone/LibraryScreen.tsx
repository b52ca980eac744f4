import { useEffect, useLayoutEffect, useRef, useState } from "preact/hooks";
import type { LibraryAsset, PickerScreen } from "../../core/messages";
import { useSimulator } from "../../state/context";
import { clockText } from "../../ui/format";
import { mayTakeFocus } from "../../ui/focus";
import { Thumbnail } from "../../ui/Thumbnail";
import { EditStep } from "./EditStep";
import { layer } from "./focusPhone";
import { Review } from "./Review";

const isMovie = (asset: LibraryAsset) => asset.type === "video";
// A browser cannot show every original; a JPEG of the server's it can.
const previewSide = 2048;
// As many as the grid has.
const columnsOf = (landscape: boolean) => (landscape ? 5 : 3);

const wants = (mediaTypes: string[], asset: LibraryAsset): boolean =>
  isMovie(asset)
    ? mediaTypes.some((type) => type === "public.movie" || type === "public.video")
    : mediaTypes.includes("public.image");

const describe = (asset: LibraryAsset, place: number): string => {
  const created = new Date(asset.created);
  const when = Number.isNaN(created.valueOf())
    ? ""
    : `, ${created.toLocaleDateString(undefined, { dateStyle: "medium" })}`;
  return isMovie(asset)
    ? `Movie ${place}${when}, ${clockText(asset.duration ?? 0)} long`
    : `Photo ${place}${when}, ${asset.width} by ${asset.height}`;
};

export function LibraryScreen({ screen, covered }: { screen: PickerScreen; covered: boolean }) {
  const simulator = useSimulator();
  const { client, preferences, cue } = simulator;
  const columns = columnsOf(preferences.landscape);
  const dialog = useRef<HTMLDivElement>(null);
  const assets = simulator.assets.value;
  const failed = simulator.libraryError.value;
  const [chosen, setChosen] = useState<LibraryAsset | null>(null);
  const [busy, setBusy] = useState(false);
  const offered = [...(assets ?? [])].reverse().filter((asset) => wants(screen.mediaTypes, asset));

  const known = assets !== null;
  useEffect(() => {
    if (known && dialog.current && mayTakeFocus(dialog.current))
      dialog.current.querySelector<HTMLElement>(".thumbnail")?.focus();
  }, [known]);

  // Who comes back from a picture is where it was chosen.
  const lastChosen = useRef<string | null>(null);
  useLayoutEffect(() => {
    if (!chosen && lastChosen.current !== null)
      dialog.current?.querySelector<HTMLElement>(".thumbnail[data-chosen]")?.focus();
    lastChosen.current = chosen?.id ?? lastChosen.current;
  }, [chosen]);

  const pick = async (asset: LibraryAsset, crop?: [number, number, number, number]) => {
    if (busy) return;
    setBusy(true);
    const picked = await client.act({ do: "pick", asset: asset.id, ...(crop ? { crop } : {}) });
    setBusy(false);
    if (!picked) setChosen(null);
  };
  const choose = (asset: LibraryAsset) => {
    if (isMovie(asset) || screen.allowsEditing) setChosen(asset);
    else void pick(asset);
  };
  const back = () => setChosen(null);
  const cancel = () => void client.act({ do: "cancel" });

  const onKeyDown = (event: KeyboardEvent) => {
    if (event.key === "Escape") {
      event.stopPropagation();
      if (chosen) back();
      else cancel();
      return;
    }
    const steps: Record<string, number> = {
      ArrowLeft: -1,
      ArrowRight: 1,
      ArrowUp: -columns,
      ArrowDown: columns,
    };
    const by = steps[event.key];
    if (by === undefined || chosen) return;
    const all = [...(dialog.current?.querySelectorAll<HTMLElement>(".thumbnail") ?? [])];
    const at = all.indexOf(document.activeElement as HTMLElement);
    if (at < 0) return;
    event.preventDefault();
    all[at + by]?.focus();
  };

  const step = cue.value?.step;
  const cued = step?.do === "pick" ? step.asset : null;
  return (
    <div
      ref={dialog}
      class="picker library"
      role="dialog"
      aria-label={screen.sourceType === 2 ? "Saved photos" : "Photo library"}
      tabIndex={-1}
      {...layer}
      inert={covered}
      onKeyDown={onKeyDown}
    >
      <div class="library-list" inert={chosen !== null}>
        <header class="library-head">
          <h2>{screen.sourceType === 2 ? "Saved photos" : "Photos"}</h2>
          <button
            type="button"
            class={`text-button${step?.do === "cancel" ? " cued" : ""}`}
            onClick={cancel}
          >
            Cancel
          </button>
        </header>
        {failed && <p class="library-empty">{failed}</p>}
        {assets && offered.length === 0 && (
          <p class="library-empty">
            {assets.length === 0
              ? "The photo library is empty. Add photos in the panel beside the phone."
              : "The photo library holds nothing of the kind that was asked for."}
          </p>
        )}
        <ul class="library-grid">
          {offered.map((asset, index) => (
            <li key={asset.id}>
              <button
                type="button"
                class={`thumbnail${asset.id === cued ? " cued" : ""}`}
                data-chosen={asset.id === lastChosen.current ? "" : undefined}
                aria-label={describe(asset, index + 1)}
                aria-disabled={busy}
                onClick={() => choose(asset)}
              >
                <Thumbnail address={client.thumbnail(asset.id, 256)} alt="" />
                {isMovie(asset) && <span class="length">{clockText(asset.duration ?? 0)}</span>}
              </button>
            </li>
          ))}
        </ul>
      </div>
      {chosen && !isMovie(chosen) && (
        <EditStep
          picture={client.thumbnail(chosen.id, previewSide)}
          size={chosen}
          cancelLabel="Back"
          useLabel="Choose"
          busy={busy}
          onUse={(crop) => void pick(chosen, crop)}
          onCancel={back}
        />
      )}
      {chosen && isMovie(chosen) && (
        <Review
          url={client.original(chosen.id)}
          kind="movie"
          poster={client.thumbnail(chosen.id, 512)}
          leaveLabel="Back"
          useLabel="Choose"
          busy={busy}
          onUse={() => void pick(chosen)}
          onLeave={back}
        />
      )}
    </div>
  );
}
