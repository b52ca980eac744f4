import { useLayoutEffect, useRef } from "preact/hooks";

/** A photo or a movie, to be looked at before it is used. */
export function Review(props: {
  /** Null: there is nothing to show. */
  url: string | null;
  kind: "photo" | "movie";
  poster?: string;
  leaveLabel: string;
  useLabel: string;
  busy?: boolean;
  cued?: boolean;
  onUse?: () => void;
  onLeave?: () => void;
}) {
  const { url, kind, poster, leaveLabel, useLabel, busy = false, cued, onUse, onLeave } = props;
  const use = useRef<HTMLButtonElement>(null);
  useLayoutEffect(() => use.current?.focus(), []);
  return (
    <div class="review">
      <div class="review-picture">
        {url !== null && kind === "photo" && <img src={url} alt="What was taken" />}
        {url !== null && kind === "movie" && (
          <video src={url} poster={poster} controls playsInline aria-label="The movie" />
        )}
      </div>
      <div class="picker-actions">
        <button
          type="button"
          class="text-button"
          aria-disabled={busy}
          onClick={busy ? undefined : onLeave}
        >
          {leaveLabel}
        </button>
        <button
          ref={use}
          type="button"
          class={`text-button strong${cued ? " cued" : ""}`}
          aria-disabled={busy}
          onClick={busy ? undefined : onUse}
        >
          {busy ? "One moment…" : useLabel}
        </button>
      </div>
    </div>
  );
}
