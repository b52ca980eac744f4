#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device/screen/Permissions.h"
#include "device/screen/RootViewController.h"
#include "device/screen/ScriptedScreen.h"

namespace vecamera::device::screen {
namespace {

class ScreenTest : public testing::Test {
 protected:
  void TearDown() override {
    if (root) root->clear();
  }

  container::DeviceObserver observer;
  QueueExecutor main;
  QueueExecutor platform;
  ScriptedScreen screen{observer};
  std::shared_ptr<RootViewController> root = std::make_shared<RootViewController>(screen, main);
};

class RootViewControllerTest : public ScreenTest {};

TEST_F(RootViewControllerTest, ThePresentedKnowsItsPresenterUntilItIsDismissed) {
  const auto alert = std::make_shared<UIAlertController>("", "m", UIAlertControllerStyle::alert);
  bool shown = false;
  root->presentViewController(alert, true, [&] { shown = true; });
  EXPECT_EQ(screen.alert(), alert);
  EXPECT_EQ(alert->presentingViewController(), root);
  EXPECT_FALSE(shown) << "the completion comes on the main queue";
  main.runAll();
  EXPECT_TRUE(shown);

  bool gone = false;
  alert->dismissViewControllerAnimated(true, [&] { gone = true; });
  EXPECT_EQ(screen.alert(), nullptr);
  EXPECT_EQ(alert->presentingViewController(), nullptr);
  EXPECT_FALSE(gone);
  main.runAll();
  EXPECT_TRUE(gone);
}

TEST_F(RootViewControllerTest, TheUserReachesOnlyWhatIsOnTop) {
  const auto picker = std::make_shared<UIImagePickerController>();
  const auto alert = std::make_shared<UIAlertController>("", "m", UIAlertControllerStyle::alert);
  root->presentViewController(picker, true, nullptr);
  root->presentViewController(alert, true, nullptr);
  EXPECT_EQ(screen.picker(), nullptr);
  EXPECT_EQ(screen.alert(), alert);
  alert->dismissViewControllerAnimated(true, nullptr);
  EXPECT_EQ(screen.picker(), picker);
}

TEST_F(RootViewControllerTest, APresenterLivesUntilTheDismissalAndStillTakesItsCompletion) {
  const auto alert = std::make_shared<UIAlertController>("", "m", UIAlertControllerStyle::alert);
  root->presentViewController(alert, true, nullptr);
  const std::weak_ptr<RootViewController> held = root;
  root = nullptr;
  ASSERT_FALSE(held.expired());
  bool gone = false;
  alert->dismissViewControllerAnimated(true, [&] { gone = true; });
  EXPECT_TRUE(held.expired());
  main.runAll();
  EXPECT_TRUE(gone);
}

TEST_F(RootViewControllerTest, WhatIsUpAlreadyIsNotPresentedAgain) {
  const auto picker = std::make_shared<UIImagePickerController>();
  root->presentViewController(picker, true, nullptr);
  bool completed = false;
  root->presentViewController(picker, true, [&] { completed = true; });
  main.runAll();
  EXPECT_FALSE(completed);
  picker->dismissViewControllerAnimated(true, nullptr);
  EXPECT_EQ(screen.picker(), nullptr);
}

TEST_F(RootViewControllerTest, WhereNothingIsPresentedADismissalDoesNothing) {
  int completions = 0;
  const auto alert = std::make_shared<UIAlertController>("", "m", UIAlertControllerStyle::alert);
  root->presentViewController(alert, true, nullptr);
  for (int i = 0; i < 2; ++i) root->dismissViewControllerAnimated(true, [&] { ++completions; });
  alert->dismissViewControllerAnimated(true, [&] { ++completions; });
  main.runAll();
  EXPECT_EQ(completions, 1);
}

class PermissionGateTest : public ScreenTest {};
using Gate = PermissionGate<AVAuthorizationStatus>;

TEST_F(PermissionGateTest, RequestsWaitBehindOnePromptAndAreAllAnsweredOnce) {
  Gate gate(container::Permission::camera, AVAuthorizationStatus::notDetermined, screen, platform);
  std::vector<AVAuthorizationStatus> answers;
  gate.request([&](auto status) { answers.push_back(status); });
  gate.request([&](auto status) { answers.push_back(status); });
  EXPECT_EQ(screen.prompts(), std::set<container::Permission>{container::Permission::camera});
  platform.runAll();
  EXPECT_TRUE(answers.empty());
  gate.decide(AVAuthorizationStatus::denied);
  EXPECT_TRUE(screen.prompts().empty());
  EXPECT_TRUE(answers.empty()) << "handlers come on the platform's executor";
  platform.runAll();
  gate.decide(AVAuthorizationStatus::authorized);
  platform.runAll();
  EXPECT_EQ(answers, (std::vector{AVAuthorizationStatus::denied, AVAuthorizationStatus::denied}));
  EXPECT_EQ(gate.status(), AVAuthorizationStatus::authorized);
}

TEST_F(PermissionGateTest, ADecidedPermissionShowsNoPromptAndStillAnswersLater) {
  Gate gate(container::Permission::camera, AVAuthorizationStatus::restricted, screen, platform);
  int restricted = 0;
  gate.request([&](auto status) { restricted += status == AVAuthorizationStatus::restricted; });
  EXPECT_TRUE(screen.prompts().empty());
  EXPECT_EQ(restricted, 0);
  platform.runAll();
  EXPECT_EQ(restricted, 1);
}

TEST_F(PermissionGateTest, APreparedAnswerTakesThePromptDownAgain) {
  Gate gate(container::Permission::camera, AVAuthorizationStatus::notDetermined, screen, platform);
  gate.answerPromptsWith(AVAuthorizationStatus::authorized);
  int granted = 0;
  gate.request([&](auto status) { granted += status == AVAuthorizationStatus::authorized; });
  EXPECT_TRUE(screen.prompts().empty());
  platform.runAll();
  EXPECT_EQ(granted, 1);
}

}  // namespace
}  // namespace vecamera::device::screen
