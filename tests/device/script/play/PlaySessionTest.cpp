#include "device/script/play/PlaySession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "device/script/assembly/Samples.h"
#include "device/script/script/ScriptJson.h"
#include "device/script/script/ScriptReader.h"

namespace vecamera::device::script {
namespace {

using testing::HasSubstr;

/// A plug-in object of a host's own.
class OwnPlugin : public SelectorTarget, public VelmoraPluginProtocol {
 public:
  const Operation* operationForSelector(std::string_view selector) const override {
    return selector == "tempFilePath:" ? &echo_ : nullptr;
  }
  std::shared_ptr<UIViewController> viewController() const override { return viewController_; }
  void setViewController(std::shared_ptr<UIViewController> given) override {
    viewController_ = std::move(given);
  }
  std::shared_ptr<VelmoraWebView> webView() const override { return webView_; }
  void setVWebView(std::shared_ptr<VelmoraWebView> given) override { webView_ = std::move(given); }
  void dispose() override {}

 private:
  const Operation echo_ = [](std::span<const Value> arguments) { return arguments[0]; };
  std::shared_ptr<UIViewController> viewController_;
  std::shared_ptr<VelmoraWebView> webView_;
};

class PlaySessionTest : public testing::Test {
 protected:
  void make(std::string_view device) {
    const auto script = parseScript("{\"device\":" + std::string(device) + ",\"steps\":[]}", "/");
    options_.isCancelled = [this] { return ++asked_ >= stopAt_; };
    auto made = PlaySession::make(
        script->device, options_, [this](const Json& event) { events_.push_back(event); },
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
  PlayOptions options_;
  std::vector<Json> events_;
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

TEST_F(PlaySessionTest, EndsWhileSomethingIsHeldOrDropped) {
  const std::string photo =
      R"({"do":"capture","photo":")" + samplesFolder() + R"(/first-photo.jpg"})";
  const std::string movie = R"({"do":"capture","movie":{"seconds":0.5}})";
  for (const std::string at : {"picker", "encoding", "answer"})
    for (const auto& capture : {photo, movie})
      for (const std::string then : {R"({"do":"files"})", R"({"do":"drop"})", R"({"do":"kill"})"}) {
        make("{}");
        EXPECT_EQ(play(R"({"do":"hold","at":")" + at + "\"}"), "");
        const std::string media = capture == movie ? "1" : "0";
        play(R"({"do":"takePicture","as":"a","arguments":[50,1,1,null,null,0,)" + media + "]}");
        ASSERT_TRUE(session_->settle());
        if (at != "picker") {
          ASSERT_EQ(play(capture), "");
          ASSERT_TRUE(session_->settle());
        }
        ASSERT_EQ(session_->device().holds.held().size(), 1U) << at << capture;
        EXPECT_EQ(play(then), "");
        events_.clear();
        session_.reset();
        EXPECT_TRUE(events_.empty()) << at << capture << then;
      }
}

TEST_F(PlaySessionTest, NothingOfAKilledAppIsLeft) {
  int kills = 0;
  std::weak_ptr<SelectorTarget> plugin;
  options_.onKill = [&] {
    EXPECT_FALSE(plugin.expired());
    ++kills;
  };
  options_.makePlugin = [&](const Platform& platform) {
    auto made = container::makePlugin(platform);
    plugin = made.target;
    return made;
  };
  make(R"({"authorization":{"photoLibrary":"notDetermined"}})");
  play(R"({"do":"takePicture","as":"a","arguments":[50,1,1]})");
  play(R"({"do":"takePicture","as":"b","arguments":[50,1,0],"settle":false})");
  ASSERT_TRUE(session_->runReadyJobs());
  const auto picker = std::weak_ptr(session_->device().screen.picker());
  ASSERT_FALSE(picker.expired());
  EXPECT_EQ(play(R"({"do":"kill"})"), "");
  EXPECT_EQ(kills, 1);
  EXPECT_TRUE(plugin.expired());
  EXPECT_TRUE(picker.expired());
  EXPECT_TRUE(session_->device().screen.prompts().empty());
  EXPECT_THAT(play(R"({"do":"kill"})"), HasSubstr("\"launch\" step"));
  EXPECT_EQ(kills, 1);
  EXPECT_EQ(play(R"({"do":"launch"})"), "");
  EXPECT_THAT(play(R"({"do":"launch"})"), HasSubstr("is running"));
}

TEST_F(PlaySessionTest, PlaysAHostsOwnPluginObject) {
  std::weak_ptr<OwnPlugin> plugin;
  options_.makePlugin = [&plugin](const Platform&) {
    const auto made = std::make_shared<OwnPlugin>();
    plugin = made;
    return container::PluginObject{made, made, [] { return VECameraPlugin::Inspection(); }};
  };
  make("{}");
  ASSERT_FALSE(plugin.expired());
  EXPECT_NE(plugin.lock()->viewController(), nullptr);
  EXPECT_NE(plugin.lock()->webView(), nullptr);
  EXPECT_EQ(play(R"({"do":"call","selector":"tempFilePath:","argument":"x"})"), "");
  ASSERT_EQ(events_.size(), 1u);
  EXPECT_EQ(events_[0]["value"], "x");
  EXPECT_NE(play(R"({"do":"call","selector":"dispose"})"), "");
  EXPECT_EQ(play(R"({"do":"release"})"), "");
  EXPECT_TRUE(plugin.expired());
}

}  // namespace
}  // namespace vecamera::device::script
