#include "simulator/server/model/LocationUpdates.h"

#include <gtest/gtest.h>

namespace vecamera::simulator {
namespace {

using namespace std::chrono_literals;

class LocationUpdatesTest : public testing::Test {
 protected:
  void configure(const std::string& text) {
    auto settings = LocationUpdates::parse(Json::parse(text), updates_.settings());
    ASSERT_TRUE(settings) << settings.error().message;
    updates_.configure(*std::move(settings), now_);
  }
  /// The latitude of the fix that is due now; nothing where none is.
  std::optional<double> take() {
    const auto fix = updates_.take(now_);
    return fix ? std::optional((*fix)["latitude"].get<double>()) : std::nullopt;
  }

  LocationUpdates updates_;
  LocationUpdates::Clock::time_point now_{};
};

TEST_F(LocationUpdatesTest, GivesAFixOnceForEachManager) {
  configure(R"({"mode":"fix","fix":{"latitude":48,"longitude":11}})");
  EXPECT_EQ(take(), std::nullopt) << "nobody looks for one";
  updates_.setLooking(true, now_);
  EXPECT_EQ(take(), 48);
  updates_.setLooking(true, now_);
  EXPECT_EQ(take(), std::nullopt);
  updates_.onManagerStarted(now_);
  EXPECT_EQ(take(), 48);
}

TEST_F(LocationUpdatesTest, GivesALateFixAfterItsDelayAndNotBefore) {
  configure(R"({"mode":"late","delay":2.5,"fix":{"latitude":48,"longitude":11}})");
  updates_.setLooking(true, now_);
  now_ += 2499ms;
  EXPECT_EQ(take(), std::nullopt);
  now_ += 1ms;
  EXPECT_EQ(updates_.due(), now_);
  EXPECT_EQ(take(), 48);
  EXPECT_EQ(updates_.due(), std::nullopt);
}

TEST_F(LocationUpdatesTest, GivesNoneOnceTheManagerHasStopped) {
  configure(R"({"mode":"late","delay":2})");
  updates_.setLooking(true, now_);
  updates_.setLooking(false, now_);
  now_ += 1h;
  EXPECT_EQ(take(), std::nullopt);
}

TEST_F(LocationUpdatesTest, WalksAroundTheFixStepByStep) {
  configure(R"({"mode":"moving","fix":{"latitude":0,"longitude":10}})");
  updates_.setLooking(true, now_);
  EXPECT_EQ(take(), 0);
  EXPECT_EQ(take(), std::nullopt);
  now_ += 1s;
  const auto second = take();
  ASSERT_TRUE(second);
  EXPECT_GT(*second, 0);
  EXPECT_LT(*second, 0.001);
  const auto quarter = pointOfWalk({{"latitude", 0}, {"longitude", 10}}, 30s);
  EXPECT_NEAR(quarter["latitude"].get<double>(), 0.006, 1e-6);
  EXPECT_NEAR(quarter["longitude"].get<double>(), 10, 1e-6);
}

TEST_F(LocationUpdatesTest, GivesNoneWhileItIsSwitchedOff) {
  configure(R"({"mode":"fix"})");
  updates_.setAutomation(Automation::off);
  updates_.setLooking(true, now_);
  EXPECT_EQ(take(), std::nullopt);
  updates_.setAutomation(Automation::on);
  EXPECT_EQ(take(), std::nullopt) << "the manager was somebody else's";
  updates_.onManagerStarted(now_);
  EXPECT_EQ(take(), 0);
}

TEST_F(LocationUpdatesTest, RefusesSettingsThatItCannotRead) {
  for (const auto* text : {"5", R"({"mode":"fast"})", R"({"delay":-1})", R"({"delay":"2"})",
                           R"({"fix":null})", R"({"fix":{"latitude":1}})",
                           R"({"fix":{"latitude":1,"longitude":2,"x":3}})", R"({"speed":1})"})
    EXPECT_FALSE(LocationUpdates::parse(Json::parse(text), {})) << text;
}

}  // namespace
}  // namespace vecamera::simulator
