#include "device/imaging/Resample.h"

#include <pixman.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#define STB_IMAGE_RESIZE_IMPLEMENTATION
#define STB_IMAGE_RESIZE_STATIC
// It asserts that no weight is exactly 0, which is not so where a picture is enlarged by a whole
// number, and does no harm.
#define STBIR_ASSERT(condition) static_cast<void>(0)
#include <stb/stb_image_resize.h>

namespace vecamera::device {
namespace {

/// Differences in place below this, in pixels, cannot be seen.
constexpr double tolerance = 1e-3;

/// Where the window starts in the source, when the map moves by whole pixels and the window lies
/// inside of the source.
std::optional<std::size_t> wholeShift(const AxisMap& map, const PixelRange& window,
                                      std::size_t length) {
  const double offset = std::round(map.offset);
  if (std::abs(map.scale - 1) * static_cast<double>(length) >= tolerance ||
      std::abs(map.offset - offset) >= tolerance)
    return std::nullopt;
  const double start = static_cast<double>(window.first) - offset;
  if (start < 0 || start + static_cast<double>(window.count) > static_cast<double>(length))
    return std::nullopt;
  return static_cast<std::size_t>(start);
}

/// The resampler counts its memory in 32 bits and keeps as many rows as one result row needs. A
/// least scale and a longest side keep that far from overflowing.
constexpr double leastScale = 1.0 / 16;
constexpr std::size_t longestSide = 500'000;

std::size_t boxLength(const AxisMap& map, std::size_t length) {
  if (map.scale >= leastScale) return 1;
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

/// The source pixels that a window of the canvas needs, with room for the filter around them.
/// Working on this part only keeps the resampler's single-precision offsets small.
PixelRange neededPixels(const AxisMap& map, const PixelRange& window, std::size_t length) {
  const double filterReach = 2 * std::max(1.0, 1 / map.scale) + 2;
  const auto clamped = [&](double at) {
    return static_cast<std::size_t>(std::clamp(at, 0.0, static_cast<double>(length)));
  };
  const double low = (static_cast<double>(window.first) - map.offset) / map.scale;
  const double high = (static_cast<double>(window.first + window.count) - map.offset) / map.scale;
  std::size_t first = clamped(std::floor(low - filterReach));
  std::size_t last = clamped(std::ceil(high + filterReach));
  first = std::min(first, length - 1);
  last = std::max(last, first + 1);
  return {first, last - first};
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

/// Filters overshoot; no colour may exceed its alpha.
void limitColorsToAlpha(Bitmap& bitmap) {
  for (std::size_t y = 0; y < bitmap.height(); ++y) {
    std::uint8_t* bytes = bitmap.bytesOfRow(y);
    for (std::size_t x = 0; x < bitmap.width(); ++x, bytes += 4)
      for (int channel = 0; channel < 3; ++channel)
        bytes[channel] = std::min(bytes[channel], bytes[3]);
  }
}

float shiftInWindow(const AxisMap& map, const PixelRange& needed, const PixelRange& window) {
  return static_cast<float>(static_cast<double>(window.first) - map.offset -
                            map.scale * static_cast<double>(needed.first));
}

std::optional<Bitmap> filtered(const Bitmap& source, const AxisMap& x, const AxisMap& y,
                               const PixelRange& columns, const PixelRange& rows) {
  const std::size_t boxWidth = boxLength(x, source.width());
  const std::size_t boxHeight = boxLength(y, source.height());
  if (boxWidth > 1 || boxHeight > 1) {
    const auto coarse = averaged(source, boxWidth, boxHeight);
    if (!coarse) return std::nullopt;
    return filtered(*coarse, {x.scale * static_cast<double>(boxWidth), x.offset},
                    {y.scale * static_cast<double>(boxHeight), y.offset}, columns, rows);
  }
  if (std::max({source.width(), source.height(), columns.count, rows.count}) > longestSide)
    return std::nullopt;
  auto result = Bitmap::uninitialized(columns.count, rows.count);
  if (!result) return std::nullopt;
  const PixelRange across = neededPixels(x, columns, source.width());
  const PixelRange down = neededPixels(y, rows, source.height());
  constexpr int channels = 4;
  constexpr int alphaChannel = 3;
  const int done = stbir_resize_subpixel(
      source.row(down.first) + across.first, static_cast<int>(across.count),
      static_cast<int>(down.count), static_cast<int>(source.strideBytes()), result->row(0),
      static_cast<int>(columns.count), static_cast<int>(rows.count),
      static_cast<int>(result->strideBytes()), STBIR_TYPE_UINT8, channels, alphaChannel,
      STBIR_FLAG_ALPHA_PREMULTIPLIED, STBIR_EDGE_CLAMP, STBIR_EDGE_CLAMP, STBIR_FILTER_DEFAULT,
      STBIR_FILTER_DEFAULT, STBIR_COLORSPACE_LINEAR, nullptr, static_cast<float>(x.scale),
      static_cast<float>(y.scale), shiftInWindow(x, across, columns), shiftInWindow(y, down, rows));
  if (!done) return std::nullopt;
  if (!source.knownOpaque()) limitColorsToAlpha(*result);
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
  return resampled(std::move(source), {x, 0}, {y, 0}, columns, rows);
}

}  // namespace

std::optional<Bitmap> resampled(Bitmap source, const AxisMap& x, const AxisMap& y,
                                const PixelRange& columns, const PixelRange& rows) {
  const bool opaque = source.knownOpaque();
  const ColorProfile profile = source.profile();
  std::optional<Bitmap> result;
  const auto left = wholeShift(x, columns, source.width());
  const auto top = wholeShift(y, rows, source.height());
  if (left && top) {
    result = copied(std::move(source), *left, *top, columns, rows);
  } else {
    result = filtered(source, x, y, columns, rows);
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

}  // namespace vecamera::device
