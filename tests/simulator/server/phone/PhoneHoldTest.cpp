#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/server/TestPhone.h"
#include "tests/simulator/server/phone/Replay.h"

namespace vecamera::simulator {
namespace {

using testing::HasSubstr;

TEST(PhoneHoldTest, ShowsWhatIsHeldAndThatTheAppIsKilled) {
  TestPhone phone;
  phone.step({{"do", "hold"}, {"at", "answer"}});
  phone.step(takePicture("a"));
  phone.step({{"do", "cancel"}});
  EXPECT_EQ(phone.state()["held"], Json::parse(R"([{"at":"answer","callback":"a"}])"));
  EXPECT_EQ(phone.state()["waiting"], nullptr);
  EXPECT_EQ(phone.state()["app"], "running");
  EXPECT_THAT(phone.state()["callbacks"][0]["why"], HasSubstr("held before the answer"));
  phone.step({{"do", "hold"}, {"at", "encoding"}});
  phone.step(takePicture("b"));
  EXPECT_EQ(phone.whyNot({{"do", "capture"}, {"photo", photoAsDataUrl()}}), "");
  EXPECT_EQ(phone.state()["held"].size(), 2U);
  EXPECT_EQ(phone.whyNot({{"do", "continue"}}), "");
  EXPECT_EQ(phone.state()["held"], Json::array());
  phone.step(takePicture("c"));
  ASSERT_EQ(phone.state()["screen"].size(), 1U);
  EXPECT_EQ(phone.whyNot({{"do", "kill"}}), "");
  EXPECT_EQ(phone.state()["app"], "killed");
  EXPECT_EQ(phone.state()["screen"], Json::array());
  EXPECT_THAT(phone.state()["callbacks"][0]["why"], HasSubstr("killed"));
  EXPECT_THAT(phone.whyNot(takePicture("d")), HasSubstr("\"launch\" step"));
  EXPECT_EQ(phone.whyNot({{"do", "launch"}}), "");
  EXPECT_EQ(phone.state()["app"], "running");
  phone.step({{"do", "hold"}, {"at", "encoding"}});
  phone.step(takePicture("e"));
  phone.step({{"do", "capture"}, {"photo", photoAsDataUrl()}});
  expectSameReplay(phone);
  EXPECT_EQ(phone.ask({{"type", "restart"}, {"device", Json::object()}})["type"], "done");
  EXPECT_EQ(phone.state()["held"], Json::array());
}

TEST(PhoneHoldTest, WhatIsHeldForATimeGoesOnInRealTimeAndInAReplay) {
  TestPhone phone;
  phone.step({{"do", "hold"}, {"at", "picker"}, {"seconds", 2}});
  phone.step(takePicture("a"));
  phone.step({{"do", "hold"}, {"at", "answer"}, {"seconds", 5}});
  while (!phone.state()["held"].empty()) phone.readUntil(PhoneMessage::Kind::state);
  ASSERT_EQ(phone.state()["screen"].size(), 1U);
  phone.step({{"do", "cancel"}});
  ASSERT_EQ(phone.state()["held"].size(), 1U);
  while (!phone.state()["held"].empty()) phone.readUntil(PhoneMessage::Kind::state);
  EXPECT_THAT(phone.events().back(), HasSubstr(R"("to":"a")"));
  expectSameReplay(phone);
}

}  // namespace
}  // namespace vecamera::simulator
