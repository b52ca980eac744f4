import { useEffect, useLayoutEffect, useRef, useState } from "preact/hooks";
import { type Crop, cropKey, pan, type PictureSize, wholeCrop, zoom, zoomOf } from "./media/crop";

const keyStep = 0.05;
const keyZoom = 1.15;

type Change = (make: (size: PictureSize, crop: Crop) => Crop) => void;

/** Pans and zooms by pointers (two of them pinch), wheel and keys, in a square element. */
function useGestures(change: Change) {
  const square = useRef<HTMLDivElement>(null);
  const pointers = useRef(new Map<number, { u: number; v: number }>());

  /** Where in the square, from 0 to 1 on each axis. */
  const place = (event: PointerEvent | WheelEvent) => {
    const box = square.current?.getBoundingClientRect();
    if (!box || box.width === 0) return { u: 0.5, v: 0.5 };
    return { u: (event.clientX - box.left) / box.width, v: (event.clientY - box.top) / box.height };
  };

  useEffect(() => {
    const element = square.current;
    if (!element) return;
    const onWheel = (event: WheelEvent) => {
      event.preventDefault();
      const { u, v } = place(event);
      change((of, current) => zoom(of, current, Math.exp(-event.deltaY / 400), u, v));
    };
    // Not passive, so that the page around does not scroll along.
    element.addEventListener("wheel", onWheel, { passive: false });
    return () => element.removeEventListener("wheel", onWheel);
  });

  const onPointerDown = (event: PointerEvent) => {
    (event.currentTarget as Element).setPointerCapture(event.pointerId);
    pointers.current.set(event.pointerId, place(event));
  };
  const onPointerMove = (event: PointerEvent) => {
    const before = pointers.current.get(event.pointerId);
    if (!before) return;
    const { u, v } = place(event);
    const other = [...pointers.current].find(([id]) => id !== event.pointerId)?.[1];
    pointers.current.set(event.pointerId, { u, v });
    if (other) {
      const was = Math.hypot(before.u - other.u, before.v - other.v);
      const is = Math.hypot(u - other.u, v - other.v);
      if (was > 0.01 && is > 0.01)
        change((of, current) => zoom(of, current, is / was, (u + other.u) / 2, (v + other.v) / 2));
    } else {
      change((of, current) => pan(of, current, u - before.u, v - before.v));
    }
  };
  const onPointerEnd = (event: PointerEvent) => pointers.current.delete(event.pointerId);

  const onKeyDown = (event: KeyboardEvent) => {
    const moves: Record<string, [number, number]> = {
      ArrowLeft: [keyStep, 0],
      ArrowRight: [-keyStep, 0],
      ArrowUp: [0, keyStep],
      ArrowDown: [0, -keyStep],
    };
    const move = moves[event.key];
    if (move) change((of, current) => pan(of, current, ...move));
    else if (event.key === "+" || event.key === "=") change((of, at) => zoom(of, at, keyZoom));
    else if (event.key === "-") change((of, at) => zoom(of, at, 1 / keyZoom));
    else if (event.key === "0") change((of) => wholeCrop(of));
    else return;
    event.preventDefault();
    event.stopPropagation();
  };

  const handlers = {
    onPointerDown,
    onPointerMove,
    onPointerUp: onPointerEnd,
    onPointerCancel: onPointerEnd,
    onKeyDown,
  };
  return { square, handlers };
}

/** Moves and scales a picture in a square window. */
export function EditStep(props: {
  picture: string;
  /** The size of what is cropped, where `picture` only stands in for it. */
  size?: PictureSize;
  cancelLabel: string;
  useLabel: string;
  busy: boolean;
  onUse: (crop: [number, number, number, number]) => void;
  onCancel: () => void;
}) {
  const { picture, cancelLabel, useLabel, busy, onUse, onCancel } = props;
  const image = useRef<HTMLImageElement>(null);
  const [size, setSize] = useState<PictureSize | null>(null);
  const [crop, setCrop] = useState<Crop>({ x: 0, y: 0, side: 1 });
  const [unseen, setUnseen] = useState(false);

  const begin = (whole: PictureSize) => {
    setSize(whole);
    setCrop(wholeCrop(whole));
  };
  const change: Change = (make) => {
    if (size) setCrop((current) => make(size, current));
  };
  const { square, handlers } = useGestures(change);

  useEffect(() => {
    const element = image.current;
    if (!element || !size) return;
    const scale = 100 / crop.side;
    element.style.width = `${size.width * scale}%`;
    element.style.height = `${size.height * scale}%`;
    element.style.left = `${-crop.x * scale}%`;
    element.style.top = `${-crop.y * scale}%`;
  }, [size, crop]);

  useLayoutEffect(() => square.current?.focus(), [square]);

  return (
    <div class="edit">
      <p class="edit-title" role="status">
        {unseen ? "This browser cannot show the picture" : "Move and scale"}
      </p>
      <div
        ref={square}
        class="edit-square"
        role="group"
        aria-label="Picture in the square. Arrow keys move it, plus and minus zoom, 0 starts over."
        tabIndex={0}
        {...handlers}
      >
        <img
          ref={image}
          src={picture}
          alt=""
          draggable={false}
          onLoad={(event) => {
            const { naturalWidth: width, naturalHeight: height } = event.currentTarget;
            begin(props.size ?? { width, height });
          }}
          onError={() => {
            setUnseen(true);
            if (props.size) begin(props.size);
          }}
        />
        <div class="edit-grid" aria-hidden="true" />
      </div>
      <label class="edit-zoom">
        <span class="visually-hidden">Zoom</span>
        <span aria-hidden="true">1×</span>
        <input
          type="range"
          min="1"
          max="8"
          step="0.05"
          value={size ? zoomOf(size, crop) : 1}
          onInput={(event) => {
            const wanted = Number(event.currentTarget.value);
            change((of, current) => zoom(of, current, wanted / zoomOf(of, current)));
          }}
        />
        <span aria-hidden="true">8×</span>
      </label>
      <div class="picker-actions">
        <button
          type="button"
          class="text-button"
          aria-disabled={busy}
          onClick={busy ? undefined : onCancel}
        >
          {cancelLabel}
        </button>
        <button
          type="button"
          class="text-button strong"
          disabled={!size}
          aria-disabled={busy}
          onClick={() => size && !busy && onUse(cropKey(size, crop))}
        >
          {useLabel}
        </button>
      </div>
    </div>
  );
}
