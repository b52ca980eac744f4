/** The part of a picture that a square window shows, in pixels of the upright picture. */
export interface Crop {
  x: number;
  y: number;
  side: number;
}

export interface PictureSize {
  width: number;
  height: number;
}

const maxZoom = 8;

const clamp = (value: number, low: number, high: number) => Math.min(Math.max(value, low), high);

const inside = (picture: PictureSize, crop: Crop): Crop => {
  const largest = Math.min(picture.width, picture.height);
  const side = clamp(crop.side, Math.min(largest, Math.max(1, largest / maxZoom)), largest);
  return {
    side,
    x: clamp(crop.x, 0, picture.width - side),
    y: clamp(crop.y, 0, picture.height - side),
  };
};

/** The largest square, in the middle. */
export function wholeCrop({ width, height }: PictureSize): Crop {
  const side = Math.min(width, height);
  return { side, x: (width - side) / 2, y: (height - side) / 2 };
}

/** Moves the picture under the window by a part of the window's side. */
export function pan(picture: PictureSize, crop: Crop, dx: number, dy: number): Crop {
  return inside(picture, { ...crop, x: crop.x - dx * crop.side, y: crop.y - dy * crop.side });
}

/** Zooms by a factor, above 1 closer, about a point of the window (0 to 1 on each axis). */
export function zoom(picture: PictureSize, crop: Crop, factor: number, u = 0.5, v = 0.5): Crop {
  const { side } = inside(picture, { ...crop, side: crop.side / factor });
  return inside(picture, {
    side,
    x: crop.x + (crop.side - side) * u,
    y: crop.y + (crop.side - side) * v,
  });
}

export const zoomOf = (picture: PictureSize, crop: Crop): number =>
  Math.min(picture.width, picture.height) / crop.side;

/** Whole pixels that never leave the picture, as a step wants them. */
export function cropKey(picture: PictureSize, crop: Crop): [number, number, number, number] {
  const side = Math.max(1, Math.min(Math.round(crop.side), picture.width, picture.height));
  return [
    clamp(Math.round(crop.x), 0, picture.width - side),
    clamp(Math.round(crop.y), 0, picture.height - side),
    side,
    side,
  ];
}

/** The part of a picture that fills a frame of this shape without gaps, as it is shown. */
export function coveringPart(picture: PictureSize, aspect: number) {
  const width = Math.min(picture.width, picture.height * aspect);
  const height = width / aspect;
  return {
    x: (picture.width - width) / 2,
    y: (picture.height - height) / 2,
    width,
    height,
  };
}
