#include "device/imaging/resample/AxisWeights.h"

namespace vecamera::device::imaging {
namespace {

TEST(AxisWeightsTest, AddUpToOneAndStayInsideOfTheSource) {
  for (const double scale : {0.02, 0.3, 0.77, 1.0, 1.5, 9.0, -0.4, -1.0, -3.3})
    for (const double offset : {0.0, 0.37, 12.0}) {
      const PixelRange source{5, 31};
      const AxisWeights weights(
          AxisPlacement{scale, offset + (scale < 0 ? -scale * 40 : 0), 40, source, {0, 12}, {}});
      for (std::size_t i = 0; i < weights.count(); ++i) {
        int sum = 0;
        std::size_t pixel = 2 * weights.firstPair(i);
        for (const std::uint32_t pair : weights.pairs(i))
          for (const int weight :
               {static_cast<std::int16_t>(pair & 0xFFFF), static_cast<std::int16_t>(pair >> 16)}) {
            sum += weight;
            EXPECT_TRUE(weight == 0 || (pixel >= source.first && pixel < source.end()))
                << scale << " at " << pixel;
            ++pixel;
          }
        EXPECT_EQ(sum, AxisWeights::one);
      }
    }
}

}  // namespace
}  // namespace vecamera::device::imaging
