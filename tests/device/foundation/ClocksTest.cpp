#include "device/foundation/Clocks.h"

#include <gtest/gtest.h>

namespace vecamera::device::foundation {
namespace {

using std::chrono::microseconds;

TEST(ClocksTest, AManualClockMovesOnlyWhenMoved) {
  ManualClock clock(Date(microseconds(10)));
  EXPECT_EQ(clock.now(), Date(microseconds(10)));
  clock.advance(microseconds(5));
  EXPECT_EQ(clock.now(), Date(microseconds(15)));
  clock.set(Date());
  EXPECT_EQ(clock.now(), Date());
}

}  // namespace
}  // namespace vecamera::device::foundation
