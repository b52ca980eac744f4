#include "device/script/assembly/Lanes.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vecamera::device::script {
namespace {

using Log = std::vector<std::string>;

void runAll(Lanes& lanes) {
  while (lanes.step()) {
  }
}

TEST(LanesTest, RunInOneFixedOrderWhateverTheOrderOfPosting) {
  Log log;
  Lanes lanes;
  lanes.platform().post([&] { log.push_back("platform"); });
  lanes.background().post([&] {
    log.push_back("background");
    lanes.main().post([&] { log.push_back("main, posted from background"); });
  });
  lanes.main().post([&] { log.push_back("main"); });
  EXPECT_TRUE(log.empty());
  runAll(lanes);
  EXPECT_EQ(log, (Log{"main", "background", "main, posted from background", "platform"}));
}

TEST(LanesTest, ALaneKnowsItself) {
  Lanes lanes;
  EXPECT_EQ(Lanes::current(), nullptr) << "the conductor";
  const Executor* seen = nullptr;
  lanes.background().post([&] { seen = Lanes::current(); });
  runAll(lanes);
  EXPECT_EQ(seen, &lanes.background());
}

TEST(LanesTest, AJobHasThePurposeOfWhoPostedIt) {
  Log log;
  Lanes lanes;
  lanes.setPurpose("a");
  lanes.background().post([&] {
    lanes.main().post([&] { log.push_back("main: " + lanes.purpose()); });
    log.push_back("background: " + lanes.purpose());
  });
  lanes.setPurpose("b");
  lanes.platform().post([&] { log.push_back("platform: " + lanes.purpose()); });
  runAll(lanes);
  EXPECT_EQ(log, (Log{"background: a", "main: a", "platform: b"}));
  EXPECT_EQ(lanes.purpose(), "b") << "the conductor's";
}

TEST(LanesTest, OneJobRunsForEachStep) {
  int ran = 0;
  Lanes lanes;
  lanes.main().post([&] { ++ran; });
  lanes.main().post([&] { ++ran; });
  EXPECT_TRUE(lanes.step());
  EXPECT_EQ(ran, 1);
  EXPECT_TRUE(lanes.step());
  EXPECT_FALSE(lanes.step());
  EXPECT_EQ(ran, 2);
}

TEST(LanesTest, AWaitingLaneHandsBackAndTheOthersGoOn) {
  bool free = false;
  Log log;
  Lanes lanes;
  lanes.background().post([&] {
    while (!free) lanes.yieldWaiting();
    log.push_back("freed");
  });
  lanes.background().post([&] { log.push_back("next"); });
  EXPECT_TRUE(lanes.step());
  EXPECT_TRUE(lanes.isInJob(lanes.background()));
  lanes.main().post([&] { log.push_back("main"); });
  runAll(lanes);
  EXPECT_EQ(log, Log{"main"}) << "what stands behind the waiting job waits too";
  EXPECT_FALSE(lanes.retryWaiting());
  free = true;
  EXPECT_TRUE(lanes.retryWaiting());
  runAll(lanes);
  EXPECT_EQ(log, (Log{"main", "freed", "next"}));
  EXPECT_FALSE(lanes.anyWaiting());
}

TEST(LanesTest, AHeldJobPollsNothingAndGoesOnWhenItIsContinued) {
  Log log;
  Lanes lanes;
  lanes.background().post([&] {
    ASSERT_EQ(lanes.caller(), &lanes.background());
    lanes.yieldHeld();
    log.push_back("continued");
    lanes.yieldWaiting();
  });
  runAll(lanes);
  EXPECT_TRUE(lanes.isInJob(lanes.background()));
  EXPECT_FALSE(lanes.anyWaiting());
  EXPECT_FALSE(lanes.retryWaiting());
  EXPECT_TRUE(log.empty());
  lanes.continueHeld(lanes.background());
  EXPECT_TRUE(lanes.retryWaiting()) << "it has gone on, though it waits for something else now";
  EXPECT_EQ(log, Log{"continued"});
  EXPECT_TRUE(lanes.anyWaiting());
}

struct Sentinel {
  explicit Sentinel(int& live) : count(live) { ++count; }
  ~Sentinel() { --count; }
  int& count;
};

TEST(LanesTest, AnAbandonedJobStaysAsItIsUntilTheStop) {
  int live = 0;
  Log log;
  Lanes lanes;
  for (int i = 0; i < 2; ++i) {
    lanes.background().post([&] {
      const Sentinel onTheStack(live);
      lanes.yieldHeld();
      log.push_back("went on");
    });
    runAll(lanes);
    lanes.abandonHeld(lanes.background());
  }
  const Executor* seen = nullptr;
  lanes.background().post([&] { seen = Lanes::current(); });
  runAll(lanes);
  EXPECT_EQ(seen, &lanes.background());
  EXPECT_EQ(live, 2);
  lanes.stop();
  EXPECT_EQ(live, 0);
  EXPECT_TRUE(log.empty());
}

TEST(LanesTest, StartAnewAfterAStop) {
  Log log;
  Lanes lanes;
  lanes.main().post([&] { lanes.yieldHeld(); });
  runAll(lanes);
  lanes.stop();
  lanes.main().post([&] { log.push_back("while stopped"); });
  EXPECT_FALSE(lanes.step());
  EXPECT_FALSE(lanes.anyWaiting());
  lanes.start();
  lanes.main().post([&] { log.push_back("afterwards"); });
  runAll(lanes);
  EXPECT_EQ(log, Log{"afterwards"});
}

TEST(LanesTest, StopUnwindsAWaitingJobAndDropsTheRest) {
  int live = 0;
  bool wentOn = false;
  Lanes lanes;
  lanes.main().post([&, held = std::make_shared<Sentinel>(live)] {
    const Sentinel onTheStack(live);
    lanes.yieldWaiting();
    wentOn = true;
  });
  lanes.main().post([&, held = std::make_shared<Sentinel>(live)] { wentOn = true; });
  lanes.step();
  EXPECT_EQ(live, 3);
  lanes.stop();
  EXPECT_EQ(live, 0);
  EXPECT_FALSE(wentOn);
  EXPECT_TRUE(lanes.fatalError().empty());
}

TEST(LanesTest, AFatalErrorIsKeptAndEndsItsJobOnly) {
  bool later = false;
  Lanes lanes;
  lanes.main().post([] { throw FatalError("no location"); });
  lanes.main().post([&] { later = true; });
  runAll(lanes);
  EXPECT_EQ(lanes.fatalError(), "no location");
  EXPECT_TRUE(later);
}

TEST(LanesTest, YieldingOutsideOfALaneDoesNothing) {
  Lanes lanes;
  lanes.yieldWaiting();
  EXPECT_FALSE(lanes.anyWaiting());
}

}  // namespace
}  // namespace vecamera::device::script
