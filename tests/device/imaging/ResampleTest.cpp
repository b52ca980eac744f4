#include "device/imaging/Resample.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device {
namespace {

/// The pixels of a canvas of 100 that a bitmap of that length touches.
PixelRange touched(const AxisMap& map, std::size_t length) {
  const double first = std::floor(std::max(map.offset, 0.0));
  const double last =
      std::ceil(std::min(map.offset + map.scale * static_cast<double>(length), 100.0));
  if (last <= first) return {};
  return {static_cast<std::size_t>(first), static_cast<std::size_t>(last - first)};
}

TEST(Resample, AFlatPictureStaysFlatAtAnyScaleAndPlace) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> exponent(-8, 5);
  std::uniform_real_distribution<double> offset(-50, 50);
  const Rgba color{0x99, 0x66, 0x33, 0xCC};
  const auto flat = [&](std::size_t, std::size_t) { return color; };
  int drawn = 0;
  for (int round = 0; round < 1500; ++round) {
    const std::size_t width = 1 + random() % (round % 10 ? 60 : 2000);
    const std::size_t height = 1 + random() % 60;
    const AxisMap x{std::exp(exponent(random)), offset(random)};
    const AxisMap y{std::exp(exponent(random)), offset(random)};
    const PixelRange columns = touched(x, width);
    const PixelRange rows = touched(y, height);
    if (columns.count == 0 || rows.count == 0) continue;
    ++drawn;
    const auto result = resampled(bitmapOf(width, height, flat), x, y, columns, rows);
    ASSERT_TRUE(result);
    ASSERT_LE(largestDifference(*result, bitmapOf(columns.count, rows.count, flat)), 1)
        << width << " x " << height << ", " << x.scale << " + " << x.offset << ", " << y.scale
        << " + " << y.offset;
  }
  EXPECT_GT(drawn, 300);
}

}  // namespace
}  // namespace vecamera::device
