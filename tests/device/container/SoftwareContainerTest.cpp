#include "device/container/SoftwareContainer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vecamera::device::container {
namespace {

class StoppedClock : public NSClock {
 public:
  Date now() const override { return Date(std::chrono::microseconds(7)); }
};

class Recorder : public DeviceObserver {
 public:
  void onAnswered(const Callback& callback) override { answers.push_back(callback.name()); }
  void onAnswerRefused(const Callback& callback) override { refusals.push_back(callback.name()); }
  std::vector<std::string> answers;
  std::vector<std::string> refusals;
};

class SoftwareContainerTest : public testing::Test {
 protected:
  std::string refusal(std::string_view selector, std::vector<Value> arguments) {
    const auto result = container.perform(selector, arguments);
    return result ? "" : result.error().message;
  }

  StoppedClock clock;
  Recorder recorder;
  SoftwareContainer container{clock, recorder};
};

TEST_F(SoftwareContainerTest, ASecondAnswerIsRefusedAndTheObserverNotified) {
  const auto callback = container.makeCallback("a", "cleanup:", {});
  callback->error(CommandStatus::NO_PERMISSION, "no", false);
  callback->success(false);
  callback->success(Dictionary{{"callbackURI", "x"}}, false);
  EXPECT_EQ(recorder.answers, std::vector<std::string>{"a"});
  EXPECT_EQ(recorder.refusals, (std::vector<std::string>{"a", "a"}));
  EXPECT_EQ(callback->refusedAnswers(), 2);
  const auto answer = callback->answer();
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, CommandStatus::NO_PERMISSION) << "the first answer stands";
  EXPECT_EQ(std::get<std::string>(answer->payload), "no");
  EXPECT_EQ(answer->at, clock.now());
}

TEST_F(SoftwareContainerTest, AnAnswerThatIsKeptBackIsTakenWhenItIsDelivered) {
  std::function<void()> deliver;
  SoftwareContainer keeping(clock, recorder, container::makePlugin, [&](const auto&, auto given) {
    deliver = std::move(given);
    return true;
  });
  for (const bool isKilled : {false, true}) {
    const auto callback = keeping.makeCallback("a", "cleanup:", {});
    callback->success(false);
    callback->error(CommandStatus::NO_PERMISSION, "late", false);
    EXPECT_EQ(callback->refusedAnswers(), 1) << "the first one is on its path already";
    EXPECT_FALSE(callback->answer());
    if (isKilled) keeping.killCallbacks();
    deliver();
    EXPECT_EQ(callback->answer().has_value(), !isKilled);
    if (isKilled) callback->success(false);
    EXPECT_EQ(callback->refusedAnswers(), 1) << "nobody is notified after the end";
  }
  EXPECT_EQ(recorder.answers, std::vector<std::string>{"a"});
}

TEST_F(SoftwareContainerTest, AnEmptySlotAndAMissingOneAreNoArguments) {
  const auto callback = container.makeCallback("a", "takePicture:", {Value(50), Value()});
  EXPECT_EQ(callback->command().argument(0), Value(50));
  EXPECT_EQ(callback->command().argument(1), std::nullopt);
  EXPECT_EQ(callback->command().argument(2), std::nullopt);
}

TEST_F(SoftwareContainerTest, CallbacksAreOpenUntilTheirAnswerAndMayBeReplaced) {
  const auto first = container.makeCallback("first", "takePicture:", {});
  const auto cleanup = container.makeCallback("cleanup", "cleanup:", {});
  EXPECT_EQ(container.callbacks().replacementOf(*first), nullptr) << "cleanup replaces nothing";
  const auto second = container.makeCallback("second", "takePicture:", {});
  const auto third = container.makeCallback("third", "takePicture:", {});
  EXPECT_EQ(container.callbacks().replacementOf(*first), second) << "the first one that came later";
  EXPECT_EQ(container.callbacks().replacementOf(*third), nullptr);
  cleanup->success(false);
  const auto open = container.callbacks().open();
  ASSERT_EQ(open.size(), 3u);
  EXPECT_EQ(open[0]->name(), "first");
  EXPECT_EQ(open[1]->name(), "second");
  EXPECT_EQ(open[2]->name(), "third");
}

TEST_F(SoftwareContainerTest, TheTransformerMayChangeWhileACallbackIsOpen) {
  const auto callback = container.makeCallback("a", "takePicture:", {});
  ASSERT_TRUE(callback->commandDelegate());
  EXPECT_FALSE(callback->commandDelegate()->urlTransformer());
  container.setUrlTransformer({true, [](const URL&) { return URL("x:y"); }});
  EXPECT_EQ(callback->commandDelegate()->urlTransformer()(URL("a:b")), URL("x:y"));
  container.setUrlTransformer({false, nullptr});
  EXPECT_FALSE(callback->commandDelegate());
}

TEST_F(SoftwareContainerTest, TheDispatcherRefusesWithAReason) {
  EXPECT_NE(refusal("dispose", {}).find("no plug-in object"), std::string::npos);
}

}  // namespace
}  // namespace vecamera::device::container
