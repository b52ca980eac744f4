#include "device/imaging/resample/Resample.h"

#include <pixman.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <vector>

#include "device/imaging/resample/PlaneScaler.h"

namespace vecamera::device::imaging {
namespace {

/// Differences in place below this, in pixels, cannot be seen.
constexpr double tolerance = 1e-3;

/// Where the window starts in the source, when the map moves by whole pixels and the window lies
/// inside of what is usable of the source.
std::optional<std::size_t> wholeShift(const AxisMap& map, const PixelRange& window,
                                      const PixelRange& usable) {
  const double offset = std::round(map.offset);
  if (std::abs(map.scale - 1) * static_cast<double>(usable.end()) >= tolerance ||
      std::abs(map.offset - offset) >= tolerance)
    return std::nullopt;
  const double start = static_cast<double>(window.first) - offset;
  if (start < static_cast<double>(usable.first) ||
      start + static_cast<double>(window.count) > static_cast<double>(usable.end()))
    return std::nullopt;
  return static_cast<std::size_t>(start);
}

std::size_t boxLength(const AxisMap& map, std::size_t length) {
  if (map.scale >= AxisWeights::minScale) return 1;
  // Twice as fine as the result, so that the filter proper still decides how it looks.
  return static_cast<std::size_t>(
      std::clamp(std::floor(0.5 / map.scale), 1.0, static_cast<double>(length)));
}

/// The means of boxes of pixels; the last ones may be smaller.
std::optional<Bitmap> averaged(const Bitmap& source, std::size_t boxWidth, std::size_t boxHeight) {
  auto result = Bitmap::uninitialized((source.width() + boxWidth - 1) / boxWidth,
                                      (source.height() + boxHeight - 1) / boxHeight);
  if (!result) return std::nullopt;
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
  result->setKnownOpaque(source.knownOpaque());
  return result;
}

std::optional<Bitmap> copied(Bitmap source, std::size_t left, std::size_t top,
                             const PixelRange& columns, const PixelRange& rows) {
  if (columns.count == source.width() && rows.count == source.height()) return source;
  auto result = Bitmap::uninitialized(columns.count, rows.count);
  if (!result) return std::nullopt;
  for (std::size_t y = 0; y < rows.count; ++y) {
    const std::uint32_t* from = source.row(top + y) + left;
    std::copy(from, from + columns.count, result->row(y));
  }
  return result;
}

PixelRange coarser(const PixelRange& range, std::size_t boxLength) {
  const std::size_t first = range.first / boxLength;
  return {first, (range.end() + boxLength - 1) / boxLength - first};
}

std::optional<Bitmap> filtered(const Bitmap& source, const AxisMap& x, const AxisMap& y,
                               const PixelRange& columns, const PixelRange& rows,
                               const SourceRect& usable) {
  const std::size_t boxWidth = boxLength(x, source.width());
  const std::size_t boxHeight = boxLength(y, source.height());
  if (boxWidth > 1 || boxHeight > 1) {
    const auto coarse = averaged(source, boxWidth, boxHeight);
    if (!coarse) return std::nullopt;
    return filtered(*coarse, {x.scale * static_cast<double>(boxWidth), x.offset},
                    {y.scale * static_cast<double>(boxHeight), y.offset}, columns, rows,
                    {coarser(usable.columns, boxWidth), coarser(usable.rows, boxHeight)});
  }
  auto result = Bitmap::uninitialized(columns.count, rows.count);
  if (!result) return std::nullopt;
  constexpr std::size_t bandRows = 32;
  PlaneScaler scaler({AxisWeights(x, columns, usable.columns), AxisWeights(y, rows, usable.rows)},
                     source.width(), SampleFormat::pixel, bandRows);
  if (!scaler.ready()) return std::nullopt;
  std::array<const std::uint8_t*, bandRows> band;
  for (std::size_t top = 0; top < source.height(); top += bandRows) {
    const std::size_t count = std::min(bandRows, source.height() - top);
    for (std::size_t i = 0; i < count; ++i) band[i] = source.bytesOfRow(top + i);
    scaler.push(band.data(), count);
  }
  if (!scaler.finish({columns.count, rows.count, result->strideBytes(), result->bytesOfRow(0)}))
    return std::nullopt;
  if (!source.knownOpaque()) result->limitColorsToAlpha();
  return result;
}

struct Unreference {
  void operator()(pixman_image_t* image) const { pixman_image_unref(image); }
};
using PixmanImage = std::unique_ptr<pixman_image_t, Unreference>;

PixmanImage wrapped(Bitmap& bitmap) {
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
std::optional<Bitmap> shrunkFor(Bitmap source, AffineMap& map) {
  const auto shrink = [](double stretch, std::size_t length) {
    const auto whole = static_cast<double>(length);
    return stretch < 1 ? std::max(1.0, std::round(whole * stretch)) / whole : 1.0;
  };
  const double x = shrink(std::hypot(map.a, map.b), source.width());
  const double y = shrink(std::hypot(map.c, map.d), source.height());
  if (x == 1 && y == 1) return source;
  const auto pixels = [](double factor, std::size_t length) {
    return static_cast<std::size_t>(std::lround(static_cast<double>(length) * factor));
  };
  map = compose(map, AffineMap::scaling(1 / x, 1 / y));
  const PixelRange columns{0, pixels(x, source.width())};
  const PixelRange rows{0, pixels(y, source.height())};
  const SourceRect all = allOf(source);
  return resampled(std::move(source), {x, 0}, {y, 0}, columns, rows, all);
}

}  // namespace

SourceRect allOf(const Bitmap& bitmap) {
  return {{0, bitmap.width()}, {0, bitmap.height()}};
}

std::optional<Bitmap> resampled(Bitmap source, const AxisMap& x, const AxisMap& y,
                                const PixelRange& columns, const PixelRange& rows,
                                const SourceRect& usable) {
  const bool opaque = source.knownOpaque();
  const ColorProfile profile = source.profile();
  std::optional<Bitmap> result;
  const auto left = wholeShift(x, columns, usable.columns);
  const auto top = wholeShift(y, rows, usable.rows);
  if (left && top) {
    result = copied(std::move(source), *left, *top, columns, rows);
  } else {
    result = filtered(source, x, y, columns, rows, usable);
  }
  if (!result) return std::nullopt;
  result->setKnownOpaque(opaque);
  result->setProfile(profile);
  return result;
}

std::optional<Bitmap> transformed(Bitmap source, const AffineMap& map, const PixelRange& columns,
                                  const PixelRange& rows) {
  // Its coordinates are 16.16 fixed-point numbers.
  constexpr std::size_t pixmanLimit = 0x7FFF;
  AffineMap shrunkMap = map;
  auto shrunk = shrunkFor(std::move(source), shrunkMap);
  if (!shrunk ||
      std::max({shrunk->width(), shrunk->height(), columns.count, rows.count}) >= pixmanLimit)
    return std::nullopt;
  auto result = Bitmap::transparent(columns.count, rows.count);
  if (!result) return std::nullopt;
  const PixmanImage from = wrapped(*shrunk);
  const PixmanImage to = wrapped(*result);
  const pixman_f_transform exact = inverseForWindow(shrunkMap, columns, rows);
  pixman_transform_t fixed;
  if (!from || !to || !pixman_transform_from_pixman_f_transform(&fixed, &exact) ||
      !pixman_image_set_transform(from.get(), &fixed) ||
      !pixman_image_set_filter(from.get(), PIXMAN_FILTER_GOOD, nullptr, 0))
    return std::nullopt;
  pixman_image_set_repeat(from.get(), PIXMAN_REPEAT_NONE);
  pixman_image_composite32(PIXMAN_OP_SRC, from.get(), nullptr, to.get(), 0, 0, 0, 0, 0, 0,
                           static_cast<int>(columns.count), static_cast<int>(rows.count));
  result->setProfile(shrunk->profile());
  return result;
}

}  // namespace vecamera::device::imaging
