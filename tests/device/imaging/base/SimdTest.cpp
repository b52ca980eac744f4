#include "device/imaging/base/Simd.h"

#include <cstring>
#include <random>

namespace vecamera::device::imaging {
namespace {

TEST(SimdTest, InstructionsOfTheProcessorGiveWhatTheDefinitionsGive) {
  std::mt19937 random(12);
  const auto same = [](auto a, auto b) { return std::memcmp(&a, &b, sizeof a) == 0; };
  for (int round = 0; round < 1000; ++round) {
    Words8 a;
    Words8 b;
    Ints4 c;
    for (std::size_t i = 0; i < 8; ++i) a[i] = static_cast<std::int16_t>(random() % 0xFFFF);
    for (std::size_t i = 0; i < 8; ++i) b[i] = static_cast<std::int16_t>(random() % 0x1FF);
    for (std::size_t i = 0; i < 4; ++i) c[i] = static_cast<std::int32_t>(random()) >> round % 20;
    EXPECT_TRUE(same(portable::multiplyHigh(a, b), imaging::multiplyHigh(a, b)));
    EXPECT_TRUE(same(portable::multiplyAddPairs(a, b), imaging::multiplyAddPairs(a, b)));
    EXPECT_TRUE(same(portable::packSaturated<Words8>(c, c), imaging::packSaturated<Words8>(c, c)));
    EXPECT_TRUE(
        same(portable::packSaturated<Bytes16>(a, b), imaging::packSaturated<Bytes16>(a, b)));
  }
}

}  // namespace
}  // namespace vecamera::device::imaging
