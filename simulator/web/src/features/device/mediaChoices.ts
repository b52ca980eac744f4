import { type DeviceSetup, isObject, type JsonObject } from "../../core/messages";

export type MediaChoice = "both" | "photos" | "movies" | "none";

/** What a source may offer: uniform type identifiers, or that the platform names none. */
const mediaTypes: Record<MediaChoice, string[] | null> = {
  both: ["public.image", "public.movie"],
  photos: ["public.image"],
  movies: ["public.movie"],
  none: null,
};

const mediaTypesOf = ({ availableMediaTypes: types }: DeviceSetup): JsonObject =>
  isObject(types) ? types : {};

export function mediaChoiceOf(device: DeviceSetup, source: number): MediaChoice {
  const types = mediaTypesOf(device)[source];
  if (types === undefined) return "both";
  const offers = (type: string) => Array.isArray(types) && types.includes(type);
  if (offers("public.image")) return offers("public.movie") ? "both" : "photos";
  return offers("public.movie") ? "movies" : "none";
}

/** The device's `availableMediaTypes` with that for one source. */
export const withMediaChoice = (
  device: DeviceSetup,
  source: number,
  choice: MediaChoice,
): JsonObject => ({
  ...mediaTypesOf(device),
  [source]: mediaTypes[choice],
});
