#include "device/imaging/pipeline/Render.h"

#include <algorithm>
#include <cmath>

#include "device/imaging/base/ScratchBuffer.h"
#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/pipeline/Placement.h"
#include "device/imaging/resample/AxisWeights.h"
#include "device/imaging/resample/Resample.h"

namespace vecamera::device::imaging {
namespace {

/// The full scale for what is not encoded.
DecodeScale decodeScaleOf(const LazyImage& image, double storedPerResult) {
  const EncodedImage* encoded = image.encoded();
  return encoded ? decodeScaleFor(encoded->header, storedPerResult) : DecodeScale{};
}

/// The scale is the full one but for what is encoded.
ImageResult<Bitmap> orientedPixels(const LazyImage& image, const Orientation& orientation,
                                   DecodeScale scale, const ThreadBudget& threads) {
  if (const EncodedImage* encoded = image.encoded()) {
    auto decoded = decode(encoded->bytes.bytes(), encoded->header, orientation, scale, threads);
    if (decoded) decoded->setProfile(encoded->profile());
    return decoded;
  }
  auto pixels = render(image, threads);
  if (!pixels) return pixels;
  return oriented(*std::move(pixels), orientation);
}

void fadeEdges(Bitmap& bitmap, const AlignedPlacement& placement) {
  const auto across = placement.x().coverage();
  const auto down = placement.y().coverage();
  if (across.empty() && down.empty()) return;
  const auto fade = [&](std::size_t x, std::size_t y) {
    const double share = (across.empty() ? 1 : across[x]) * (down.empty() ? 1 : down[y]);
    const auto weight = static_cast<unsigned>(std::lround(share * 255));
    std::uint8_t* pixel = bitmap.bytesOfRow(y) + 4 * x;
    for (int channel = 0; channel < 4; ++channel)
      pixel[channel] = multiplyDiv255(pixel[channel], weight);
  };
  const std::size_t lastRow = bitmap.height() - 1;
  const std::size_t lastColumn = bitmap.width() - 1;
  for (std::size_t x = 0; x <= lastColumn; ++x) {
    fade(x, 0);
    if (lastRow > 0) fade(x, lastRow);
  }
  for (std::size_t y = 1; y < lastRow; ++y) {
    fade(0, y);
    if (lastColumn > 0) fade(lastColumn, y);
  }
  bitmap.setKnownOpaque(false);
}

/// Decodes row by row into the resampler, which also orients: neither the decoded nor the oriented
/// picture is ever in memory as a whole.
/// `unsupported` for pictures that have no rows to read, and for scales that are too small for the
/// resampler.
ImageResult<Bitmap> drawFromRows(const LazyImage& image, const AlignedPlacement& placement,
                                 DecodeScale scale, const ThreadBudget& threads) {
  const EncodedImage* encoded = image.encoded();
  const double step = scale.storedPixels();
  if (!encoded || placement.minScale() * step < AxisWeights::minScale)
    return Failure(ImageError::unsupported);
  const auto opened = openRows(encoded->bytes.bytes(), encoded->header, scale, threads);
  if (!opened) return opened.failure();
  RowSource& rows = **opened;
  const std::size_t rowBytes = rows.width() * sizeof(std::uint32_t);
  const ScratchBuffer band(rowBytes * resampleBandRows);
  if (!band) return Failure(ImageError::outOfMemory);
  auto result =
      resampleRows(placement.sampled({rows.width(), rows.height(), step, step}),
                   [&](const std::uint8_t** pointers, std::size_t count) {
                     for (std::size_t i = 0; i < count; ++i)
                       pointers[i] = band.data() + i * rowBytes;
                     return rows.read(reinterpret_cast<std::uint32_t*>(band.data()), count);
                   });
  if (!result) return result;
  if (const auto finished = rows.finish(); !finished) return finished.failure();
  result->setKnownOpaque(rows.isOpaque());
  if (!rows.isOpaque()) result->clampToAlpha();
  result->setProfile(encoded->profile());
  return result;
}

ImageResult<Bitmap> resampleWhole(const LazyImage& image, const AlignedPlacement& placement,
                                  DecodeScale scale, const ThreadBudget& threads) {
  auto pixels = orientedPixels(image, placement.orientation(), scale, threads);
  if (!pixels) return pixels;
  const double step = scale.storedPixels();
  const AxisPlacement x = placement.x().sampled(step, pixels->width()).unmirrored();
  const AxisPlacement y = placement.y().sampled(step, pixels->height()).unmirrored();
  return resample(*std::move(pixels), x, y);
}

ImageResult<Bitmap> drawAligned(const LazyImage& image, const AlignedPlacement& placement,
                                const ThreadBudget& threads) {
  const DecodeScale scale = decodeScaleOf(image, placement.storedPerResult());
  ImageResult<Bitmap> result = Failure(ImageError::unsupported);
  if (std::abs(placement.columns.scale) != 1 || std::abs(placement.rows.scale) != 1)
    result = drawFromRows(image, placement, scale, threads);
  if (!result && result.error() == ImageError::unsupported)
    result = resampleWhole(image, placement, scale, threads);
  if (result) fadeEdges(*result, placement);
  return result;
}

ImageResult<Bitmap> drawFreely(const Placement& placement, const ThreadBudget& threads) {
  const AffineMap& map = placement.map;
  const LazyImage& image = *placement.image;
  const DecodeScale scale =
      decodeScaleOf(image, std::min(storedPerResult(std::hypot(map.a, map.b), image.width()),
                                    storedPerResult(std::hypot(map.c, map.d), image.height())));
  auto pixels = orientedPixels(image, {}, scale, threads);
  if (!pixels) return pixels;
  const double step = scale.storedPixels();
  return transform(*std::move(pixels), compose(map, AffineMap::scaling(step, step)),
                   placement.columns, placement.rows);
}

void composeOver(const Bitmap& layer, const Placement& placement, Bitmap& canvas) {
  for (std::size_t y = 0; y < layer.height(); ++y) {
    const std::uint8_t* from = layer.bytesOfRow(y);
    std::uint8_t* to = canvas.bytesOfRow(placement.rows.first + y) + 4 * placement.columns.first;
    for (std::size_t x = 0; x < layer.width(); ++x, from += 4, to += 4) {
      const unsigned transparency = 255u - from[3];
      for (int channel = 0; channel < 4; ++channel)
        to[channel] = static_cast<std::uint8_t>(
            std::min(255, from[channel] + multiplyDiv255(to[channel], transparency)));
    }
  }
}

bool sameProfile(const ColorProfile& a, const ColorProfile& b) {
  return a == b || (a && b && *a == *b);
}

/// Composes the layer over what there is so far; the first one may become the canvas itself.
ImageResult<void> addLayer(Bitmap layer, const Placement& placement, const DrawList& list,
                           std::optional<Bitmap>& canvas) {
  const bool fills = layer.width() == list.width && layer.height() == list.height;
  if (!canvas && fills) {
    canvas = std::move(layer);
    return {};
  }
  if (!canvas) {
    auto transparent = Bitmap::transparent(list.width, list.height);
    if (!transparent) return transparent.failure();
    canvas = *std::move(transparent);
    canvas->setProfile(layer.profile());
  }
  composeOver(layer, placement, *canvas);
  if (layer.isKnownOpaque() && fills) canvas->setKnownOpaque(true);
  // Pixels of several colour spaces are taken as they are, without a profile.
  if (!sameProfile(canvas->profile(), layer.profile())) canvas->setProfile(nullptr);
  return {};
}

ImageResult<Bitmap> draw(const DrawList& list, const ThreadBudget& threads) {
  std::optional<Bitmap> canvas;
  for (const DrawCommand& command : list.commands) {
    // A command that does not show on the canvas has no layer, which is no error.
    const Placement placement = placementOf(command, list.width, list.height);
    if (!placement.shows()) continue;
    auto bitmap = placement.aligned ? drawAligned(*placement.image, *placement.aligned, threads)
                                    : drawFreely(placement, threads);
    if (!bitmap) return bitmap;
    const auto added = addLayer(*std::move(bitmap), placement, list, canvas);
    if (!added) return added.failure();
  }
  if (!canvas) return Bitmap::transparent(list.width, list.height);
  return *std::move(canvas);
}

}  // namespace

ImageResult<Bitmap> render(const LazyImage& image, const ThreadBudget& threads) {
  if (const DrawList* list = image.drawList()) return draw(*list, threads);
  return orientedPixels(image, {}, {}, threads);
}

}  // namespace vecamera::device::imaging
