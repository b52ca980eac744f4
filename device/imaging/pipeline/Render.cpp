#include "device/imaging/pipeline/Render.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "device/imaging/base/ScratchBuffer.h"
#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/pipeline/Placement.h"
#include "device/imaging/resample/PlaneScaler.h"

namespace vecamera::device::imaging {
namespace {

/// What one drawing leaves on the canvas.
struct Layer {
  Bitmap bitmap;
  PixelRange columns;
  PixelRange rows;
};

ColorProfile profileOf(const Encoded& encoded) {
  if (encoded.header.profile.empty()) return nullptr;
  return std::make_shared<const std::vector<std::uint8_t>>(encoded.header.profile);
}

std::optional<DecodedPicture> turnedPixels(const Source& source, const Turn& turn,
                                           double coverWidth, double coverHeight,
                                           const ThreadBudget& threads) {
  if (const Encoded* encoded = source.encoded()) {
    auto decoded =
        decode(encoded->bytes.bytes(), encoded->header, turn, coverWidth, coverHeight, threads);
    if (decoded) decoded->bitmap.setProfile(profileOf(*encoded));
    return decoded;
  }
  auto pixels = render(source, threads);
  if (pixels) pixels = turned(std::move(*pixels), turn);
  if (!pixels) return std::nullopt;
  return DecodedPicture{std::move(*pixels), 1};
}

void fadeEdges(Bitmap& bitmap, const Placement& layout) {
  const auto across = coverage(layout.x, layout.columns);
  const auto down = coverage(layout.y, layout.rows);
  if (across.empty() && down.empty()) return;
  const auto fade = [&](std::size_t x, std::size_t y) {
    const double share = (across.empty() ? 1 : across[x]) * (down.empty() ? 1 : down[y]);
    const auto weight = static_cast<unsigned>(std::lround(share * 255));
    std::uint8_t* pixel = bitmap.bytesOfRow(y) + 4 * x;
    for (int channel = 0; channel < 4; ++channel)
      pixel[channel] = multiplied(pixel[channel], weight);
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

/// How turned pixels, of which there are `length` along the axis, lie on the canvas. `stretch` is
/// the signed stretch of a source pixel and `shift` where source coordinate 0 comes to lie.
AxisMap axisMap(double stretch, double shift, const DecodedPicture& pixels, std::size_t length) {
  const double scale = stretch * pixels.sourcePixels;
  if (scale > 0) return {scale, shift};
  return {-scale, shift + scale * static_cast<double>(length)};
}

/// The usable stored pixels as pixels of the turned, perhaps coarser bitmap, which has `length` of
/// them along the axis.
PixelRange usableTurned(const PixelRange& stored, double step, std::size_t length, bool mirrored) {
  const PixelRange samples = samplesOf(stored, step, length);
  return {mirrored ? length - samples.end() : samples.first, samples.count};
}

/// The colours of a source that is decoded row by row go straight to the resampler, which turns
/// them as well: neither the decoded nor the turned picture ever stands in memory. Not for pictures
/// that have no rows to read, nor for scales that are too coarse for the resampler.
Attempt<Bitmap> drawnFromRows(const Placement& layout, double shownWidth, double shownHeight,
                              const ThreadBudget& threads) {
  const Encoded* encoded = layout.source->encoded();
  if (!encoded) return std::nullopt;
  const bool swaps = layout.turn->swapsAxes;
  const double coverWidth = swaps ? shownHeight : shownWidth;
  const double coverHeight = swaps ? shownWidth : shownHeight;
  const AffineMap& map = layout.map;
  const double step = rowStep(encoded->header, coverWidth, coverHeight);
  const AxisMap across{(swaps ? map.b : map.a) * step, swaps ? map.ty : map.tx};
  const AxisMap down{(swaps ? map.c : map.d) * step, swaps ? map.tx : map.ty};
  if (std::min(std::abs(across.scale), std::abs(down.scale)) < AxisWeights::minScale)
    return std::nullopt;
  const auto source =
      openRows(encoded->bytes.bytes(), encoded->header, coverWidth, coverHeight, threads);
  if (!source) return std::nullopt;
  const SourceRect& usable = layout.usable;
  constexpr std::size_t bandRows = 16;
  constexpr std::size_t pixelBytes = 4;
  PlaneScaler scaler({AxisWeights(across, swaps ? layout.rows : layout.columns,
                                  samplesOf(usable.columns, step, source->width())),
                      AxisWeights(down, swaps ? layout.columns : layout.rows,
                                  samplesOf(usable.rows, step, source->height())),
                      swaps},
                     source->width(), SampleFormat::pixel, bandRows);
  const ScratchBuffer band(source->width() * bandRows * pixelBytes);
  if (!scaler.ready() || !band) return failedAttempt<Bitmap>();
  std::array<const std::uint8_t*, bandRows> rows;
  for (std::size_t i = 0; i < bandRows; ++i)
    rows[i] = band.data() + i * source->width() * pixelBytes;
  for (std::size_t y = 0; y < source->height(); y += bandRows) {
    const std::size_t count = std::min(bandRows, source->height() - y);
    if (!source->read(reinterpret_cast<std::uint32_t*>(band.data()), count))
      return failedAttempt<Bitmap>();
    scaler.push(rows.data(), count);
  }
  auto result = Bitmap::uninitialized(layout.columns.count, layout.rows.count);
  if (!result || !source->finish() ||
      !scaler.finish(
          {result->width(), result->height(), result->strideBytes(), result->bytesOfRow(0)}))
    return failedAttempt<Bitmap>();
  result->setKnownOpaque(source->isOpaque());
  if (!source->isOpaque()) result->limitColorsToAlpha();
  result->setProfile(profileOf(*encoded));
  return result;
}

std::optional<Bitmap> drawnAligned(const Placement& layout, const ThreadBudget& threads) {
  const AffineMap& map = layout.map;
  const Turn& turn = *layout.turn;
  const double stretchX = turn.swapsAxes ? map.c : map.a;
  const double stretchY = turn.swapsAxes ? map.b : map.d;
  const double shownWidth =
      std::abs(stretchX) *
      static_cast<double>(turn.swapsAxes ? layout.source->height() : layout.source->width());
  const double shownHeight =
      std::abs(stretchY) *
      static_cast<double>(turn.swapsAxes ? layout.source->width() : layout.source->height());
  if (std::abs(stretchX) != 1 || std::abs(stretchY) != 1) {
    auto attempt = drawnFromRows(layout, shownWidth, shownHeight, threads);
    if (attempt && *attempt) fadeEdges(**attempt, layout);
    if (attempt) return std::move(*attempt);
  }
  auto pixels = turnedPixels(*layout.source, turn, turn.swapsAxes ? shownHeight : shownWidth,
                             turn.swapsAxes ? shownWidth : shownHeight, threads);
  if (!pixels) return std::nullopt;
  const std::size_t width = pixels->bitmap.width();
  const std::size_t height = pixels->bitmap.height();
  const AxisMap x = axisMap(stretchX, map.tx, *pixels, width);
  const AxisMap y = axisMap(stretchY, map.ty, *pixels, height);
  const double step = pixels->sourcePixels;
  const SourceRect& usable = layout.usable;
  const SourceRect usableHere{
      usableTurned(turn.swapsAxes ? usable.rows : usable.columns, step, width, turn.mirrorsX),
      usableTurned(turn.swapsAxes ? usable.columns : usable.rows, step, height, turn.mirrorsY)};
  auto result = resampled(std::move(pixels->bitmap), x, y, layout.columns, layout.rows, usableHere);
  if (result) fadeEdges(*result, layout);
  return result;
}

std::optional<Bitmap> drawnFreely(const Placement& layout, const ThreadBudget& threads) {
  const auto cover = [](double first, double second, std::size_t length) {
    return std::hypot(first, second) * static_cast<double>(length);
  };
  auto pixels =
      turnedPixels(*layout.source, {}, cover(layout.map.a, layout.map.b, layout.source->width()),
                   cover(layout.map.c, layout.map.d, layout.source->height()), threads);
  if (!pixels) return std::nullopt;
  const double step = pixels->sourcePixels;
  return transformed(std::move(pixels->bitmap), compose(layout.map, AffineMap::scaling(step, step)),
                     layout.columns, layout.rows);
}

void composeOver(const Layer& layer, Bitmap& canvas) {
  for (std::size_t y = 0; y < layer.rows.count; ++y) {
    const std::uint8_t* from = layer.bitmap.bytesOfRow(y);
    std::uint8_t* to = canvas.bytesOfRow(layer.rows.first + y) + 4 * layer.columns.first;
    for (std::size_t x = 0; x < layer.columns.count; ++x, from += 4, to += 4) {
      const unsigned shining = 255u - from[3];
      for (int channel = 0; channel < 4; ++channel)
        to[channel] = static_cast<std::uint8_t>(
            std::min(255, from[channel] + multiplied(to[channel], shining)));
    }
  }
}

bool sameProfile(const ColorProfile& a, const ColorProfile& b) {
  return a == b || (a && b && *a == *b);
}

bool fills(const Layer& layer, const DrawList& canvas) {
  return layer.columns.count == canvas.width && layer.rows.count == canvas.height;
}

/// Lays the layer on what there is so far; the first one may become the canvas itself.
bool lay(Layer layer, const DrawList& recording, std::optional<Bitmap>& canvas) {
  if (!canvas && fills(layer, recording)) {
    canvas = std::move(layer.bitmap);
    return true;
  }
  if (!canvas) {
    canvas = Bitmap::transparent(recording.width, recording.height);
    if (!canvas) return false;
    canvas->setProfile(layer.bitmap.profile());
  }
  composeOver(layer, *canvas);
  if (layer.bitmap.knownOpaque() && fills(layer, recording)) canvas->setKnownOpaque(true);
  // Pixels of several colour spaces are taken as they are, without a profile.
  if (!sameProfile(canvas->profile(), layer.bitmap.profile())) canvas->setProfile(nullptr);
  return true;
}

std::optional<Bitmap> carriedOut(const DrawList& recording, const ThreadBudget& threads) {
  std::optional<Bitmap> canvas;
  for (const DrawCommand& drawing : recording.drawings) {
    // A drawing that does not show on the canvas has no layer, which is no failure.
    const Placement layout = placementOf(drawing, recording.width, recording.height);
    if (!layout.shows()) continue;
    auto bitmap = layout.turn ? drawnAligned(layout, threads) : drawnFreely(layout, threads);
    if (!bitmap || !lay({std::move(*bitmap), layout.columns, layout.rows}, recording, canvas))
      return std::nullopt;
  }
  if (!canvas) canvas = Bitmap::transparent(recording.width, recording.height);
  return canvas;
}

}  // namespace

std::optional<Bitmap> render(const Source& source, const ThreadBudget& threads) {
  if (const DrawList* recording = source.recording()) return carriedOut(*recording, threads);
  const auto width = static_cast<double>(source.width());
  const auto height = static_cast<double>(source.height());
  auto pixels = turnedPixels(source, {}, width, height, threads);
  if (!pixels) return std::nullopt;
  return std::move(pixels->bitmap);
}

}  // namespace vecamera::device::imaging
