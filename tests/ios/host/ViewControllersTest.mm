#include "ios/Sources/ViewControllers.h"

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ios/Sources/Value.h"
#include "tests/ios/host/TestPhone.h"
#import "tests/ios/platform/Presenting.h"

// Calls the completion before the call returns, as UIKit may without an animation.
@interface ImpatientController : UIViewController
@end
@implementation ImpatientController
- (void)presentViewController:(UIViewController*)controller
                     animated:(BOOL)animated
                   completion:(void (^)(void))completion {
  completion();
}
@end

// Its dismissals start late: what it presents looks untouched for a while.
@interface LateController : UIViewController
@end
@implementation LateController
- (void)dismissViewControllerAnimated:(BOOL)animated completion:(void (^)(void))completion {
  dispatch_async(dispatch_get_main_queue(), ^{
    [super dismissViewControllerAnimated:animated completion:completion];
  });
}
- (void)takeOffThen:(std::function<void()>)afterwards {
  afterwards();
}
@end

@interface RaisingController : UIViewController
@end
@implementation RaisingController
- (void)presentViewController:(UIViewController*)controller
                     animated:(BOOL)animated
                   completion:(void (^)(void))completion {
  [[NSException exceptionWithName:NSInvalidArgumentException reason:@"no" userInfo:nil] raise];
}
@end

namespace vecamera_ios {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vecamera::ios::drainMainQueue;
using vecamera::ios::livingObjects;

using Alert = std::shared_ptr<vecamera::UIAlertController>;

class ViewControllersTest : public TestPhone {
 protected:
  static Alert makeRecord(vecamera::UIAlertAction::Handler handler = nullptr) {
    auto alert = std::make_shared<vecamera::UIAlertController>(
        "Title", "Message", vecamera::UIAlertControllerStyle::alert);
    alert->addAction({"OK", vecamera::UIAlertActionStyle::cancel, std::move(handler)});
    return alert;
  }
  /// Notes it when it runs.
  vecamera::UIViewController::Completion note(std::string what) {
    return [this, what = std::move(what)] { events.push_back(what); };
  }
  /// The user presses the only button of the alert that the controller presents.
  static void press(::UIViewController* presenter) {
    const auto shown = [presenter.presentedViewController makeRecord].value();
    const auto alert = std::get<Alert>(shown);
    alert->actions().front().handler(alert);
  }

  std::vector<std::string> events;
};

TEST_F(ViewControllersTest, ANativeControllerHasOneObjectWhichKeepsIt) {
  __weak ::UIViewController* weakNative = nil;
  @autoreleasepool {
    std::shared_ptr<vecamera::UIViewController> controller;
    @autoreleasepool {
      ::UIViewController* const native = [[::UIViewController alloc] init];
      weakNative = native;
      controller = viewControllerOf(native);
      EXPECT_EQ(viewControllerOf(native), controller);
      EXPECT_EQ(nativeViewController(controller.get()), native);
      const std::weak_ptr first = controller;
      controller = nullptr;
      EXPECT_TRUE(first.expired());
      controller = viewControllerOf(native);
    }
    EXPECT_TRUE(weakNative);
    EXPECT_FALSE(viewControllerOf(nil));
    EXPECT_EQ(nativeViewController(makeRecord().get()), nil);
    // The stand-in ends the process where it ends off the main thread.
    std::thread([last = std::exchange(controller, nullptr)]() mutable {
      @autoreleasepool {
        last = nullptr;
      }
    }).join();
    EXPECT_TRUE(weakNative);
  }
  drainMainQueue();
  EXPECT_FALSE(weakNative);
}

TEST_F(ViewControllersTest, AnAlertIsPresentedAsItsRecordSaysAndDismissed) {
  @autoreleasepool {
    ::UIViewController* const native = [[::UIViewController alloc] init];
    const auto controller = viewControllerOf(native);
    const auto alert = makeRecord();
    controller->presentViewController(alert, true, note("presented"));
    auto* const shown = static_cast<::UIAlertController*>(native.presentedViewController);
    ASSERT_TRUE([shown isKindOfClass:[::UIAlertController class]]);
    EXPECT_EQ(toText(shown.title), "Title");
    EXPECT_EQ(toText(shown.message), "Message");
    EXPECT_EQ(shown.preferredStyle, UIAlertControllerStyleAlert);
    EXPECT_EQ(toText(shown.actions.firstObject.title), "OK");
    EXPECT_EQ(shown.actions.firstObject.style, UIAlertActionStyleCancel);
    EXPECT_THAT(events, IsEmpty());
    drainMainQueue();
    EXPECT_THAT(events, ElementsAre("presented"));
    EXPECT_EQ(alert->presentingViewController(), controller);

    controller->dismissViewControllerAnimated(true, note("dismissed"));
    // UIKit still names the presenter while the animation runs.
    EXPECT_TRUE(native.presentedViewController);
    EXPECT_FALSE(alert->presentingViewController());
    controller->dismissViewControllerAnimated(true, note("dismissed twice"));
    EXPECT_THAT(events, ElementsAre("presented"));
    drainMainQueue();
    EXPECT_THAT(events, ElementsAre("presented", "dismissed"));
    EXPECT_FALSE(native.presentedViewController);

    controller->presentViewController(alert, true, nullptr);
    drainMainQueue();
    EXPECT_EQ(alert->presentingViewController(), controller);
    controller->dismissViewControllerAnimated(true, nullptr);
    drainMainQueue();
    EXPECT_FALSE(native.presentedViewController);
  }
  EXPECT_EQ(livingObjects("UIAlertController"), 0u);
}

TEST_F(ViewControllersTest, ADismissalWhileThePresentationAnimatesComesAtItsEnd) {
  @autoreleasepool {
    ::UIViewController* const native = [[::UIViewController alloc] init];
    const auto controller = viewControllerOf(native);
    for (const bool isGoneMeanwhile : {false, true}) {
      events.clear();
      const auto alert = makeRecord();
      controller->presentViewController(alert, true, note("presented"));
      ASSERT_TRUE(native.presentedViewController.beingPresented);
      controller->dismissViewControllerAnimated(true, note("dismissed"));
      EXPECT_FALSE(alert->presentingViewController());
      // Another one's, which UIKit does not refuse.
      if (isGoneMeanwhile) [native takeOffThen:[] {}];
      drainMainQueue();
      EXPECT_THAT(events, ElementsAre("presented", "dismissed"));
      EXPECT_FALSE(native.presentedViewController);
    }
  }
  EXPECT_EQ(livingObjects("UIAlertController"), 0u);
}

TEST_F(ViewControllersTest, ADismissalThatIsRefusedCanBeRepeated) {
  @autoreleasepool {
    ::UIViewController* const root = [[::UIViewController alloc] init];
    ::UIViewController* const page = [[::UIViewController alloc] init];
    [root presentViewController:page animated:YES completion:nil];
    drainMainQueue();
    viewControllerOf(page)->presentViewController(makeRecord(), true, note("presented"));
    viewControllerOf(root)->dismissViewControllerAnimated(true, note("refused"));
    drainMainQueue();
    viewControllerOf(root)->dismissViewControllerAnimated(true, note("dismissed"));
    drainMainQueue();
    EXPECT_THAT(events, ElementsAre("presented", "dismissed"));
    EXPECT_FALSE(root.presentedViewController);
  }
}

TEST_F(ViewControllersTest, WhatPresentsNothingIsNotDismissedItself) {
  @autoreleasepool {
    ::UIViewController* const root = [[::UIViewController alloc] init];
    ::UIViewController* const page = [[::UIViewController alloc] init];
    [root presentViewController:page animated:YES completion:nil];
    drainMainQueue();
    viewControllerOf(page)->dismissViewControllerAnimated(true, note("dismissed"));
    drainMainQueue();
    EXPECT_EQ(root.presentedViewController, page);
    EXPECT_THAT(events, IsEmpty());
    [root dismissViewControllerAnimated:NO completion:nil];
    drainMainQueue();
  }
}

TEST_F(ViewControllersTest, ARefusedPresentationHasNoPresenterAndDoesNotComplete) {
  @autoreleasepool {
    ::UIViewController* const native = [[::UIViewController alloc] init];
    ::UIViewController* const otherNative = [[::UIViewController alloc] init];
    const auto controller = viewControllerOf(native);
    const auto first = makeRecord();
    const auto second = makeRecord();
    controller->presentViewController(first, true, note("first"));
    controller->presentViewController(second, true, note("second"));
    viewControllerOf(otherNative)->presentViewController(first, true, note("first again"));
    drainMainQueue();
    EXPECT_THAT(events, ElementsAre("first"));
    EXPECT_EQ(first->presentingViewController(), controller);
    EXPECT_FALSE(second->presentingViewController());
    EXPECT_FALSE(otherNative.presentedViewController);

    const auto refused = makeRecord();
    viewControllerOf([[RaisingController alloc] init])
        ->presentViewController(refused, true, note("raised"));
    drainMainQueue();
    EXPECT_FALSE(refused->presentingViewController());
    EXPECT_THAT(events, ElementsAre("first"));
    controller->dismissViewControllerAnimated(false, nullptr);
    drainMainQueue();
  }
}

TEST_F(ViewControllersTest, ThePresenterIsAskedForAndGoneWhenAnybodysDismissalStarts) {
  @autoreleasepool {
    ::UIViewController* const root = [[::UIViewController alloc] init];
    ::UIViewController* const page = [[::UIViewController alloc] init];
    const auto alert = makeRecord();
    [root presentViewController:page animated:YES completion:nil];
    auto presenter = viewControllerOf(page);
    presenter->presentViewController(alert, true, nullptr);
    drainMainQueue();
    // The module may have let it go; UIKit knows it all the same.
    presenter = nullptr;
    EXPECT_EQ(alert->presentingViewController(), viewControllerOf(page));
    // Two controllers away, by the app.
    [root dismissViewControllerAnimated:YES completion:nil];
    EXPECT_FALSE(alert->presentingViewController());
    drainMainQueue();
    EXPECT_FALSE(alert->presentingViewController());
  }
  EXPECT_EQ(livingObjects("UIAlertController"), 0u);
}

TEST_F(ViewControllersTest, AButtonsHandlerGetsTheAlertThatIsAlreadyGone) {
  std::weak_ptr<vecamera::UIAlertController> weakAlert;
  @autoreleasepool {
    ::UIViewController* const native = [[::UIViewController alloc] init];
    ::UIViewController* const next = [[::UIViewController alloc] init];
    auto alert = makeRecord([&](const Alert& pressed) {
      events.push_back(pressed->presentingViewController() ? "presented" : "gone");
      EXPECT_EQ(pressed, weakAlert.lock());
      [native presentViewController:next animated:YES completion:nil];
      pressed->dismissViewControllerAnimated(true, note("dismissed"));
    });
    weakAlert = alert;
    viewControllerOf(native)->presentViewController(std::exchange(alert, nullptr), true, nullptr);
    drainMainQueue();
    press(native);
    drainMainQueue();
    EXPECT_THAT(events, ElementsAre("gone"));
    EXPECT_EQ(native.presentedViewController, next);
    [native dismissViewControllerAnimated:NO completion:nil];
    drainMainQueue();
  }
  EXPECT_TRUE(weakAlert.expired());
}

TEST_F(ViewControllersTest, ThePresenterIsGoneBeforeUIKitTakesNoteOfTheDismissal) {
  @autoreleasepool {
    ::UIViewController* const native = [[LateController alloc] init];
    const auto controller = viewControllerOf(native);
    const auto alert = makeRecord([&](const Alert& pressed) {
      EXPECT_TRUE(native.presentedViewController);
      EXPECT_FALSE(pressed->presentingViewController());
    });
    controller->presentViewController(alert, true, nullptr);
    drainMainQueue();
    controller->dismissViewControllerAnimated(true, note("dismissed"));
    EXPECT_FALSE(alert->presentingViewController());
    controller->dismissViewControllerAnimated(true, note("dismissed twice"));
    drainMainQueue();
    EXPECT_THAT(events, ElementsAre("dismissed"));

    controller->presentViewController(alert, true, nullptr);
    drainMainQueue();
    EXPECT_TRUE(alert->presentingViewController());
    press(native);
    [native dismissViewControllerAnimated:NO completion:nil];
    drainMainQueue();
  }
}

TEST_F(ViewControllersTest, NoCompletionRunsBeforeTheCallReturns) {
  @autoreleasepool {
    const auto controller = viewControllerOf([[ImpatientController alloc] init]);
    controller->presentViewController(makeRecord(), false, note("presented"));
    EXPECT_THAT(events, IsEmpty());
    drainMainQueue();
    EXPECT_THAT(events, ElementsAre("presented"));
    controller->presentViewController(makeRecord(), false, nullptr);
    drainMainQueue();
  }
}

TEST_F(ViewControllersTest, TheApplicationOpensURLs) {
  @autoreleasepool {
    Application application;
    const auto settings = application.openSettingsURL();
    ASSERT_TRUE(settings);
    EXPECT_EQ(settings->absoluteString(), toText(UIApplicationOpenSettingsURLString));
    application.openURL(*settings);
    application.openURL(vecamera::URL("no URL at all"));
    EXPECT_THAT(fake.application.opened.all(), ElementsAre(settings->absoluteString()));
  }
}

}  // namespace
}  // namespace vecamera_ios
