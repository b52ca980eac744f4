#include "device/script/expectation/FlowPlay.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "device/foundation/files/ApplicationHome.h"
#include "device/script/script/ScriptReader.h"

namespace vecamera::device::script {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

PlayedFlow play(std::string_view device, std::string_view steps) {
  const std::string text =
      "{\"device\":" + std::string(device) + ",\"steps\":[" + std::string(steps) + "]}";
  const auto script = parseScript(text, VECAMERA_SOURCE_DIR "/tests/scenarios");
  EXPECT_TRUE(script) << script.error().description();
  std::ostringstream diagnostics;
  auto played = playFlow(*script, {}, diagnostics);
  EXPECT_TRUE(played);
  return *std::move(played);
}

/// Two photos in the library, and their files; the library's identifiers are drawn.
constexpr const char* photos = R"(
  {"do":"takePicture","as":"file","arguments":[100,1,1]},
  {"do":"capture","photo":"pictures/upright.jpg"},
  {"do":"files"},
  {"do":"takePicture","as":"asset","arguments":[100,2,1]},
  {"do":"capture","photo":"pictures/upright.jpg"},
  {"do":"library"})";

// Two plays differ in their folders, in the time and in the identifiers.
TEST(FlowPlayTest, ShowsTheSameEachTime) {
  const auto first = play("{}", photos);
  const auto second = play("{}", photos);
  EXPECT_FALSE(first.failure);
  EXPECT_EQ(toText(first.shown), toText(second.shown));
  const auto text = toText(first.shown);
  EXPECT_THAT(text, HasSubstr("/velmora_photo_<time 1>.jpg"));
  EXPECT_THAT(text, HasSubstr("<tmp>/velmora_photo_"));
  EXPECT_THAT(text, HasSubstr("\"velmora_photo_<time 1>.jpg\":{\"kind\":\"photo\""));
  EXPECT_THAT(text, HasSubstr("{\"event\":\"saved\",\"id\":\"<id 1>/L0/001\""));
  EXPECT_THAT(text, HasSubstr("id=<id 1>/L0/001"));
  EXPECT_THAT(text, Not(HasSubstr("sha256")));
}

TEST(FlowPlayTest, KeepsTimesAndIdentifiersThatTheScriptGives) {
  const auto home = foundation::ApplicationHome::makePrivate();
  ASSERT_TRUE(home);
  const auto folder = home->path() + "/own";
  const auto text = toText(
      play(R"({"clock":"2024-05-01T14:03:27Z","seed":1,"temporaryDirectory":")" + folder + "\"}",
           photos)
          .shown);
  EXPECT_THAT(text, HasSubstr("\"<tmp>/velmora_photo_20240501020327.jpg\""));
  EXPECT_THAT(text, Not(HasSubstr("<id")));
  EXPECT_THAT(text, Not(HasSubstr(folder)));
}

TEST(FlowPlayTest, LeavesBase64Out) {
  const auto played = play("{}", R"({"do":"takePicture","as":"a","arguments":[100,0,1]},
    {"do":"capture","photo":"pictures/upright.jpg"})");
  EXPECT_THAT(toText(played.shown),
              HasSubstr(R"("callbackURI":"data:image/jpeg;base64,<base64>")"));
}

TEST(FlowPlayTest, KeepsTheEventsByStep) {
  const auto played = play("{}", R"({"do":"files"},{"do":"takePicture","as":"a"},{"do":"files"})");
  std::vector<std::string> actions;
  for (const auto& step : played.shown.steps)
    actions.push_back(step.action + " " +
                      (step.events.empty() ? "" : step.events.back().value("event", "")));
  EXPECT_THAT(actions,
              ElementsAre("files files", "takePicture present", "files files", "end open"));
}

TEST(FlowPlayTest, NamesTheStepThatCannotBePlayed) {
  const auto steps = R"({"do":"files"},{"do":"takePicture","as":"a"},{"do":"tap","action":"OK"},
    {"do":"files"})";
  const auto played = play("{}", steps);
  ASSERT_TRUE(played.failure);
  EXPECT_EQ(played.failure->description(),
            "step 2 (tap): it cannot be played: there is no alert on screen; on screen is the "
            "camera picker");
  EXPECT_EQ(played.shown.steps.size(), 2u);
  // It differs even from itself.
  EXPECT_EQ(compare(played.shown, played, {}).size(), 1u);
}

}  // namespace
}  // namespace vecamera::device::script
