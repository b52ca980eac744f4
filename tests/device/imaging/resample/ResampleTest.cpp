#include "device/imaging/resample/Resample.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device::imaging {
namespace {

/// An axis of so many pixels on a canvas of 100, of which it fills what it touches.
AxisPlacement axisOf(double scale, double offset, std::size_t length) {
  AxisPlacement axis{scale, offset, length, {0, length}, {}, {}};
  const double first = std::floor(std::max(offset, 0.0));
  const double last = std::ceil(std::min(offset + scale * static_cast<double>(length), 100.0));
  if (last > first)
    axis.window = {static_cast<std::size_t>(first), static_cast<std::size_t>(last - first)};
  return axis;
}

TEST(ResampleTest, AFlatPictureStaysFlatAtAnyScaleAndPlace) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> exponent(-8, 5);
  std::uniform_real_distribution<double> offset(-50, 50);
  const Rgba color{0x99, 0x66, 0x33, 0xCC};
  const auto flat = [&](std::size_t, std::size_t) { return color; };
  int drawn = 0;
  for (int round = 0; round < 1500; ++round) {
    const std::size_t width = 1 + random() % (round % 10 ? 60 : 2000);
    const std::size_t height = 1 + random() % 60;
    const double scaleX = std::exp(exponent(random));
    const AxisPlacement x = axisOf(scaleX, offset(random), width);
    const double scaleY = std::exp(exponent(random));
    const AxisPlacement y = axisOf(scaleY, offset(random), height);
    if (x.window.count == 0 || y.window.count == 0) continue;
    ++drawn;
    const auto result = resample(bitmapOf(width, height, flat), x, y);
    ASSERT_TRUE(result);
    ASSERT_LE(largestDifference(*result, bitmapOf(x.window.count, y.window.count, flat)), 1)
        << width << " x " << height << ", " << x.scale << " + " << x.offset << ", " << y.scale
        << " + " << y.offset;
  }
  EXPECT_GT(drawn, 300);
}

}  // namespace
}  // namespace vecamera::device::imaging
