#include "device/imaging/resample/Resample.h"

#include <pixman.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <optional>
#include <vector>

#include "device/base/Release.h"
#include "device/imaging/resample/PlaneScaler.h"

namespace vecamera::device::imaging {
namespace {

/// Where the window starts in the source, when it moves by whole pixels and lies inside of what
/// belongs to the picture.
std::optional<std::size_t> wholeShift(const AxisPlacement& axis) {
  const PixelRange& source = axis.source;
  if (!axis.movesByWholePixels()) return std::nullopt;
  const double start = static_cast<double>(axis.window.first) - std::round(axis.offset);
  if (start < static_cast<double>(source.first) ||
      start + static_cast<double>(axis.window.count) > static_cast<double>(source.end()))
    return std::nullopt;
  return static_cast<std::size_t>(start);
}

std::size_t boxLength(const AxisPlacement& axis) {
  if (axis.scale >= AxisWeights::minScale) return 1;
  // Twice as fine as the result, so that the filter proper still decides how it looks.
  return static_cast<std::size_t>(
      std::clamp(std::floor(0.5 / axis.scale), 1.0, static_cast<double>(axis.length)));
}

/// The means of boxes of pixels; the last ones may be smaller.
ImageResult<Bitmap> average(const Bitmap& source, std::size_t boxWidth, std::size_t boxHeight) {
  auto result = Bitmap::uninitialized((source.width() + boxWidth - 1) / boxWidth,
                                      (source.height() + boxHeight - 1) / boxHeight);
  if (!result) return result;
  std::vector<std::uint64_t> sums(result->strideBytes());
  for (std::size_t y = 0; y < result->height(); ++y) {
    std::fill(sums.begin(), sums.end(), 0);
    const std::size_t bottom = std::min((y + 1) * boxHeight, source.height());
    for (std::size_t from = y * boxHeight; from < bottom; ++from) {
      const std::uint8_t* bytes = source.bytesOfRow(from);
      for (std::size_t x = 0; x < source.width(); ++x)
        for (std::size_t channel = 0; channel < 4; ++channel)
          sums[x / boxWidth * 4 + channel] += bytes[4 * x + channel];
    }
    for (std::size_t i = 0; i < sums.size(); ++i) {
      const std::size_t left = i / 4 * boxWidth;
      const std::size_t count =
          (std::min(left + boxWidth, source.width()) - left) * (bottom - y * boxHeight);
      result->bytesOfRow(y)[i] = static_cast<std::uint8_t>((sums[i] + count / 2) / count);
    }
  }
  result->setKnownOpaque(source.isKnownOpaque());
  return result;
}

ImageResult<Bitmap> copyWindow(Bitmap source, std::size_t left, std::size_t top, std::size_t width,
                               std::size_t height) {
  if (width == source.width() && height == source.height()) return source;
  auto result = Bitmap::uninitialized(width, height);
  if (!result) return result;
  for (std::size_t y = 0; y < height; ++y) {
    const std::uint32_t* from = source.row(top + y) + left;
    std::copy(from, from + width, result->row(y));
  }
  return result;
}

ImageResult<Bitmap> filter(const Bitmap& source, const AxisPlacement& x, const AxisPlacement& y) {
  const std::size_t boxWidth = boxLength(x);
  const std::size_t boxHeight = boxLength(y);
  if (boxWidth > 1 || boxHeight > 1) {
    const auto coarse = average(source, boxWidth, boxHeight);
    if (!coarse) return coarse.failure();
    return filter(*coarse, x.sampled(static_cast<double>(boxWidth), coarse->width()),
                  y.sampled(static_cast<double>(boxHeight), coarse->height()));
  }
  std::size_t done = 0;
  const auto nextRows = [&](const std::uint8_t** rows, std::size_t count) -> ImageResult<void> {
    for (std::size_t i = 0; i < count; ++i) rows[i] = source.bytesOfRow(done++);
    return {};
  };
  auto result = resampleRows({x, y, false}, nextRows);
  if (result && !source.isKnownOpaque()) result->clampToAlpha();
  return result;
}

using PixmanImage = std::unique_ptr<pixman_image_t, Release<pixman_image_unref>>;

PixmanImage wrap(Bitmap& bitmap) {
  return PixmanImage(pixman_image_create_bits_no_clear(
      PIXMAN_a8b8g8r8, static_cast<int>(bitmap.width()), static_cast<int>(bitmap.height()),
      bitmap.row(0), static_cast<int>(bitmap.strideBytes())));
}

/// From the pixels of the window back to those of the source.
pixman_f_transform inverseForWindow(const AffineMap& map, const PixelRange& columns,
                                    const PixelRange& rows) {
  const double scale = 1 / map.determinant();
  AffineMap back{map.d * scale, -map.b * scale, -map.c * scale, map.a * scale, 0, 0};
  const Point origin = back.apply(
      {static_cast<double>(columns.first) - map.tx, static_cast<double>(rows.first) - map.ty});
  return {{{back.a, back.c, origin.x}, {back.b, back.d, origin.y}, {0, 0, 1}}};
}

/// Bilinear sampling of a picture that shrinks would skip pixels, so it is shrunk before.
ImageResult<Bitmap> shrunkFor(Bitmap source, AffineMap& map) {
  const auto shrunkAxis = [](double stretch, std::size_t length) {
    const auto whole = static_cast<double>(length);
    const double scale = stretch < 1 ? std::max(1.0, std::round(whole * stretch)) / whole : 1.0;
    const auto count = static_cast<std::size_t>(std::lround(whole * scale));
    return AxisPlacement{scale, 0, length, {0, length}, {0, count}, {}};
  };
  const AxisPlacement x = shrunkAxis(std::hypot(map.a, map.b), source.width());
  const AxisPlacement y = shrunkAxis(std::hypot(map.c, map.d), source.height());
  if (x.scale == 1 && y.scale == 1) return source;
  map = compose(map, AffineMap::scaling(1 / x.scale, 1 / y.scale));
  return resample(std::move(source), x, y);
}

}  // namespace

ImageResult<Bitmap> resample(Bitmap source, const AxisPlacement& x, const AxisPlacement& y) {
  const bool opaque = source.isKnownOpaque();
  const ColorProfile profile = source.profile();
  const auto left = wholeShift(x);
  const auto top = wholeShift(y);
  auto result = left && top
                    ? copyWindow(std::move(source), *left, *top, x.window.count, y.window.count)
                    : filter(source, x, y);
  if (!result) return result;
  result->setKnownOpaque(opaque);
  result->setProfile(profile);
  return result;
}

ImageResult<Bitmap> resampleRows(const AlignedPlacement& placement, const NextRows& nextRows) {
  const std::size_t height = placement.rows.length;
  auto scaler = PlaneScaler::create(ScalePlan(placement), placement.columns.length,
                                    SampleFormat::pixel, resampleBandRows);
  if (!scaler) return scaler.failure();
  std::array<const std::uint8_t*, resampleBandRows> rows;
  for (std::size_t y = 0; y < height; y += resampleBandRows) {
    const std::size_t count = std::min(resampleBandRows, height - y);
    if (const auto read = nextRows(rows.data(), count); !read) return read.failure();
    (*scaler)->push(rows.data(), count);
  }
  auto result = Bitmap::uninitialized(placement.x().window.count, placement.y().window.count);
  if (!result) return result;
  const auto finished = (*scaler)->finish(
      {result->width(), result->height(), result->strideBytes(), result->bytesOfRow(0)});
  if (!finished) return finished.failure();
  return result;
}

ImageResult<Bitmap> transform(Bitmap source, const AffineMap& map, const PixelRange& columns,
                              const PixelRange& rows) {
  // Pixman's coordinates are fixed-point numbers of 16 bits before and after the point.
  constexpr std::size_t pixmanLimit = 0x7FFF;
  AffineMap shrunkMap = map;
  auto shrunk = shrunkFor(std::move(source), shrunkMap);
  if (!shrunk) return shrunk;
  if (std::max({shrunk->width(), shrunk->height(), columns.count, rows.count}) >= pixmanLimit)
    return Failure(ImageError::unsupported);
  auto result = Bitmap::transparent(columns.count, rows.count);
  if (!result) return result;
  const PixmanImage from = wrap(*shrunk);
  const PixmanImage to = wrap(*result);
  const pixman_f_transform exact = inverseForWindow(shrunkMap, columns, rows);
  pixman_transform_t fixed;
  if (!pixman_transform_from_pixman_f_transform(&fixed, &exact))
    return Failure(ImageError::unsupported);
  if (!from || !to || !pixman_image_set_transform(from.get(), &fixed) ||
      !pixman_image_set_filter(from.get(), PIXMAN_FILTER_GOOD, nullptr, 0))
    return Failure(ImageError::outOfMemory);
  pixman_image_set_repeat(from.get(), PIXMAN_REPEAT_NONE);
  pixman_image_composite32(PIXMAN_OP_SRC, from.get(), nullptr, to.get(), 0, 0, 0, 0, 0, 0,
                           static_cast<int>(columns.count), static_cast<int>(rows.count));
  result->setProfile(shrunk->profile());
  return result;
}

}  // namespace vecamera::device::imaging
