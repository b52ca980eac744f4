#include "device/imaging/resample/AxisPlacement.h"

namespace vecamera::device::imaging {
namespace {

TEST(AxisPlacementTest, SamplesOfPixelsAreThoseThatShowAnyOfThem) {
  const auto samplesOf = [](PixelRange pixels, double step, std::size_t count) {
    return AxisPlacement{1, 0, 100, pixels, {}, {}}.sampled(step, count).source;
  };
  constexpr double third = 8.0 / 3;
  EXPECT_EQ(samplesOf({0, 100}, 8, 13), (PixelRange{0, 13}));
  EXPECT_EQ(samplesOf({8, 16}, 8, 13), (PixelRange{1, 2}));
  EXPECT_EQ(samplesOf({9, 16}, 8, 13), (PixelRange{1, 3}));
  // Ends of a sample, which thirds reach only nearly.
  for (std::size_t i = 1; i < 200; ++i)
    EXPECT_EQ(samplesOf({8 * i, 8 * i}, third, 1200), (PixelRange{3 * i, 3 * i}));
  EXPECT_EQ(samplesOf({7, 2}, third, 38), (PixelRange{2, 2}));
  EXPECT_EQ(samplesOf({100, 1}, third, 38), (PixelRange{37, 1}));
}

}  // namespace
}  // namespace vecamera::device::imaging
