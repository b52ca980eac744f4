#include "device/script/play/PlaySession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "device/script/script/ScriptJson.h"
#include "device/script/script/ScriptReader.h"

namespace vecamera::device::script {
namespace {

using testing::HasSubstr;

class PlaySessionTest : public testing::Test {
 protected:
  void make(std::string_view device) {
    const auto script = parseScript("{\"device\":" + std::string(device) + ",\"steps\":[]}", "/");
    auto made = PlaySession::make(
        script->device, {.isCancelled = [this] { return ++asked_ >= stopAt_; }}, [](const Json&) {},
        diagnostics_);
    session_ = *std::move(made);
  }
  /// Why the step cannot be played; empty where it can.
  std::string play(std::string_view step) {
    const auto read = stepFromJson(*parseStrictJson(step), "/", FileScope::anywhere);
    const auto played = session_->play(read->step);
    return played ? "" : played.error().description();
  }

  int asked_ = 0;
  int stopAt_ = std::numeric_limits<int>::max();
  std::ostringstream diagnostics_;
  std::unique_ptr<PlaySession> session_;
};

TEST_F(PlaySessionTest, StopsInTheMiddleOfAMovieThatTheCameraMakes) {
  make("{}");
  ASSERT_EQ(play(R"({"do":"takePicture","as":"a","arguments":[50,1,1,null,null,0,1]})"), "");
  ASSERT_TRUE(session_->runReadyJobs());
  stopAt_ = asked_ + 5;
  EXPECT_THAT(play(R"({"do":"capture","movie":{"seconds":600}})"), HasSubstr("interrupted"));
  EXPECT_LT(asked_, stopAt_ + 5) << "and at once";
}

TEST_F(PlaySessionTest, DoesNotTakeTheClockOutOfTheYearsThatCanBeWritten) {
  make(R"({"clock":"2024-05-01T12:30:00Z"})");
  for (const auto* seconds : {"1e10", "-1e10"}) {
    std::string why;
    for (int i = 0; i < 2000 && why.empty(); ++i)
      why = play(R"({"do":"advance","seconds":)" + std::string(seconds) + "}");
    EXPECT_THAT(why, HasSubstr("years 1 to 9999")) << seconds;
  }
  EXPECT_EQ(play(R"({"do":"advance","seconds":1})"), "");
}

}  // namespace
}  // namespace vecamera::device::script
