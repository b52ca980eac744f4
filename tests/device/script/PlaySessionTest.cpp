#include "device/script/play/PlaySession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "device/script/script/ScriptReader.h"

namespace vecamera::device::script {
namespace {

using testing::HasSubstr;
using testing::Optional;

class PlaySessions : public testing::Test {
 protected:
  void make(std::string_view device) {
    const auto text = "{\"device\":" + std::string(device) + ",\"steps\":[]}";
    const auto script = parseScript(text, "script", "/");
    auto made = PlaySession::make(
        std::get<Script>(script).device, {.interrupted = [this] { return ++asked_ >= stopAt_; }},
        [](const std::string&) {}, diagnostics_);
    session_ = std::get<std::unique_ptr<PlaySession>>(std::move(made));
  }
  std::optional<std::string> play(std::string_view step) {
    const auto script = parseScript("{\"steps\":[" + std::string(step) + "]}", "script", "/");
    return session_->play(std::get<Script>(script).steps.front().step);
  }

  int asked_ = 0;
  int stopAt_ = std::numeric_limits<int>::max();
  std::ostringstream diagnostics_;
  std::unique_ptr<PlaySession> session_;
};

TEST_F(PlaySessions, StopInTheMiddleOfAMovieThatTheCameraMakes) {
  make("{}");
  ASSERT_EQ(play(R"({"do":"takePicture","as":"a","arguments":[50,1,1,null,null,0,1]})"),
            std::nullopt);
  ASSERT_EQ(session_->runOn(), std::nullopt);
  stopAt_ = asked_ + 5;
  EXPECT_THAT(play(R"({"do":"capture","movie":{"seconds":600}})"),
              Optional(HasSubstr("interrupted")));
  EXPECT_LT(asked_, stopAt_ + 5) << "and at once";
}

TEST_F(PlaySessions, DoNotTakeTheClockOutOfTheYearsThatCanBeWritten) {
  make(R"({"clock":"2024-05-01T12:30:00Z"})");
  for (const auto* seconds : {"1e10", "-1e10"}) {
    std::optional<std::string> why;
    for (int i = 0; i < 2000 && !why; ++i)
      why = play(R"({"do":"advance","seconds":)" + std::string(seconds) + "}");
    EXPECT_THAT(why, Optional(HasSubstr("years 1 to 9999"))) << seconds;
  }
  EXPECT_EQ(play(R"({"do":"advance","seconds":1})"), std::nullopt);
}

}  // namespace
}  // namespace vecamera::device::script
