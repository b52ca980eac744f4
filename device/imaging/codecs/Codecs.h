#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/Orientation.h"
#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/base/RowSource.h"
#include "device/imaging/base/ThreadBudget.h"

namespace vecamera::device::imaging {

using Bytes = std::span<const std::uint8_t>;

/// The bytes of an encoded picture, or nothing where it could not be made.
using EncodedBytes = std::optional<std::vector<std::uint8_t>>;

/// What a way gives that is not for every picture: nothing where it is not for this one, so that
/// another may be tried, and else what came of it. The other ways do no better with bytes that are
/// damaged.
template <class Result>
using Attempt = std::optional<std::optional<Result>>;

/// The way was for this picture, but failed.
template <class Result>
Attempt<Result> failedAttempt() {
  return Attempt<Result>(std::in_place, std::nullopt);
}

/// The format that the first bytes announce, or nothing.
std::optional<PictureFormat> formatOf(Bytes bytes);
/// Reads the head only. Nothing where the bytes are no known picture; safe on hostile bytes.
std::optional<PictureHeader> readHeader(Bytes bytes);

/// Starts to decode a JPEG, at the scale for a result of `coverWidth` by `coverHeight` pixels that
/// `jpegEighths` gives, or a PNG of the most usual kinds, perhaps
/// with a helper. Null for other pictures and for damaged bytes.
std::unique_ptr<RowSource> openRows(Bytes bytes, const PictureHeader& header, double coverWidth,
                                    double coverHeight, const ThreadBudget& threads);
/// How many stored pixels, each way, a pixel of those rows spans; nothing is decoded for it.
double rowStep(const PictureHeader& header, double coverWidth, double coverHeight);

/// Decoded pixels, already turned, one for `sourcePixels` by `sourcePixels` stored pixels.
struct DecodedPicture {
  Bitmap bitmap;
  double sourcePixels = 1;
};

/// Decodes all of the picture and turns it. A JPEG is decoded at the scale (in eighths) for a
/// result of `coverWidth` by `coverHeight` pixels before the turn; other formats are decoded whole.
/// Nothing where the bytes are damaged or end early.
std::optional<DecodedPicture> decode(Bytes bytes, const PictureHeader& header, const Turn& turn,
                                     double coverWidth, double coverHeight,
                                     const ThreadBudget& threads);

}  // namespace vecamera::device::imaging
