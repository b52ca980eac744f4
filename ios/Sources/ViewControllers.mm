#include "ios/Sources/ViewControllers.h"

#import <objc/runtime.h>

#include <utility>

#include "ios/Sources/Foundation.h"
#include "ios/Sources/MainThreadReference.h"
#include "ios/Sources/Pickers.h"
#include "ios/Sources/Value.h"

/// Leads from a native controller to the module's, which keeps the native one.
@interface VECameraControllerBox : NSObject {
 @public
  std::weak_ptr<vecamera::UIViewController> controller;
}
@end
@implementation VECameraControllerBox
@end

namespace vecamera_ios {
namespace {

using Completion = vecamera::UIViewController::Completion;

// The addresses are the keys of associated objects.
const char boxKey = 0;
const char dismissalKey = 0;

bool isGoing(UIViewController* controller) {
  return controller.beingDismissed || objc_getAssociatedObject(controller, &dismissalKey);
}

void onNextPass(void (^step)(void)) {
  dispatch_async(dispatch_get_main_queue(), ^{
    @autoreleasepool {
      step();
    }
  });
}

/// While a presentation animates, UIKit refuses a dismissal and does not run its completion. So the
/// step comes when that has ended; at once where there is none.
void afterPresentation(UIViewController* presented, void (^step)(void)) {
  const id<UIViewControllerTransitionCoordinator> transition =
      presented.beingPresented ? presented.transitionCoordinator : nil;
  if (!transition) return step();
  // What the call returns is about animations, of which there are none.
  [transition animateAlongsideTransition:nil
                              completion:^(id<UIViewControllerTransitionCoordinatorContext>) {
                                // Behind what UIKit itself still does at the end of it.
                                onNextPass(step);
                              }];
}

/// The completion of one call of UIKit, which may run it before the call returns where nothing is
/// animated. Nothing that the completion throws gets into UIKit's frames: it ends the process here.
class CompletionAfterReturn {
 public:
  explicit CompletionAfterReturn(Completion completion) : completion_(std::move(completion)) {}

  void run() noexcept {
    if (!completion_) return;
    if (isReturned_) return std::exchange(completion_, nullptr)();
    dispatch_async(dispatch_get_main_queue(),
                   [completion = std::exchange(completion_, nullptr)]() noexcept {
                     @autoreleasepool {
                       completion();
                     }
                   });
  }
  void callReturned() { isReturned_ = true; }

 private:
  Completion completion_;
  bool isReturned_ = false;
};

class ViewController : public vecamera::UIViewController, public NativeReference {
 public:
  explicit ViewController(::UIViewController* native) : native_(native) {}

  void presentViewController(vecamera::PresentedViewController presented, bool animated,
                             Completion completion) override {
    @autoreleasepool {
      const auto record = vecamera::viewControllerOf(presented);
      // UIKit would refuse. It is not asked, because a second camera picker would disturb the
      // first one's camera as soon as it is made.
      if (native_.get().presentedViewController || record->presentingViewController()) return;
      ::UIViewController* const shown = makeNative(presented);
      if (!shown) return;
      const auto end = std::make_shared<CompletionAfterReturn>(std::move(completion));
      @try {
        [native_.get() presentViewController:shown
                                    animated:animated
                                  completion:^{
                                    end->run();
                                  }];
      } @catch (NSException* exception) {
        NSLog(@"VECamera: not presented: %@", exception.reason);
      }
      end->callReturned();
    }
  }

  void dismissViewControllerAnimated(bool animated, Completion completion) override {
    @autoreleasepool {
      ::UIViewController* const presented = native_.get().presentedViewController;
      // Where nothing is presented, UIKit would take this controller itself off the screen.
      if (!presented || isGoing(presented)) return;
      dismissalStarted(presented);
      const auto end = std::make_shared<CompletionAfterReturn>(std::move(completion));
      ::UIViewController* const presenter = native_.get();
      afterPresentation(presented, ^{
        void (^const ended)(void) = ^{
          dismissalEnded(presented);
          end->run();
        };
        // Somebody else may have dismissed it meanwhile.
        if (presenter.presentedViewController != presented || presented.beingDismissed)
          return ended();
        [presenter dismissViewControllerAnimated:animated completion:ended];
        // UIKit refuses without a word where something above is still animated. Then another
        // dismissal has to be possible.
        onNextPass(^{
          if (presenter.presentedViewController == presented && !presented.beingDismissed)
            dismissalEnded(presented);
        });
      });
      end->callReturned();
    }
  }

  id native() const override { return native_.get(); }

 private:
  static ::UIViewController* makeNative(const vecamera::PresentedViewController& presented) {
    if (const auto* alert = std::get_if<std::shared_ptr<vecamera::UIAlertController>>(&presented))
      return makeAlert(*alert);
    return makePicker(std::get<std::shared_ptr<vecamera::UIImagePickerController>>(presented));
  }

  const MainThreadReference<::UIViewController*> native_;
};

}  // namespace

std::shared_ptr<vecamera::UIViewController> viewControllerOf(UIViewController* native) {
  if (!native) return nullptr;
  @autoreleasepool {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    VECameraControllerBox* box = objc_getAssociatedObject(native, &boxKey);
    if (!box) {
      box = [[VECameraControllerBox alloc] init];
      objc_setAssociatedObject(native, &boxKey, box, OBJC_ASSOCIATION_RETAIN);
    }
    auto controller = box->controller.lock();
    if (!controller) box->controller = controller = std::make_shared<ViewController>(native);
    return controller;
  }
}

UIViewController* nativeViewController(const vecamera::UIViewController* controller) {
  const auto* own = dynamic_cast<const ViewController*>(controller);
  return own ? own->native() : nil;
}

std::shared_ptr<vecamera::UIViewController> PresentedPeer::presenter() {
  @autoreleasepool {
    UIViewController* const native = native_;
    // What is dismissed further down takes this one with it.
    for (UIViewController* at = native; at; at = at.presentingViewController)
      if (isGoing(at)) return nullptr;
    return viewControllerOf(native.presentingViewController);
  }
}

void PresentedPeer::onStatusBarAppearanceChanged() {
  [native_ setNeedsStatusBarAppearanceUpdate];
}

void dismissalStarted(UIViewController* presented) {
  objc_setAssociatedObject(presented, &dismissalKey, @YES, OBJC_ASSOCIATION_RETAIN);
}

void dismissalEnded(UIViewController* presented) {
  objc_setAssociatedObject(presented, &dismissalKey, nil, OBJC_ASSOCIATION_RETAIN);
}

UIAlertController* makeAlert(const std::shared_ptr<vecamera::UIAlertController>& record) {
  UIAlertController* const alert = [UIAlertController
      alertControllerWithTitle:toNSString(record->title())
                       message:toNSString(record->message())
                preferredStyle:static_cast<UIAlertControllerStyle>(record->preferredStyle())];
  __weak UIAlertController* const weakAlert = alert;
  for (const auto& action : record->actions()) {
    const auto press = [record, handler = action.handler, weakAlert]() noexcept {
      // UIKit has taken the alert off before it says which button was pressed.
      if (UIAlertController* const gone = weakAlert) dismissalStarted(gone);
      if (handler) handler(record);
    };
    [alert addAction:[UIAlertAction actionWithTitle:toNSString(action.title)
                                              style:static_cast<UIAlertActionStyle>(action.style)
                                            handler:^(UIAlertAction*) {
                                              @autoreleasepool {
                                                press();
                                              }
                                            }]];
  }
  record->setPeer(std::make_shared<PresentedPeer>(alert));
  return alert;
}

std::optional<vecamera::URL> Application::openSettingsURL() {
  @autoreleasepool {
    return URLs().URLWithString(toText(UIApplicationOpenSettingsURLString));
  }
}

void Application::openURL(const vecamera::URL& url) {
  @autoreleasepool {
    if (NSURL* const native = toNSURL(url))
      [[::UIApplication sharedApplication] openURL:native options:@{} completionHandler:nil];
  }
}

bool ImagePickers::isSourceTypeAvailable(std::int64_t sourceType) {
  @autoreleasepool {
    const auto source = static_cast<UIImagePickerControllerSourceType>(sourceType);
    const bool isAvailable = [UIImagePickerController isSourceTypeAvailable:source];
    NSArray<NSString*>* const offered =
        isAvailable ? [UIImagePickerController availableMediaTypesForSourceType:source] : nil;
    std::optional<std::vector<std::string>> types;
    if (offered) types.emplace();
    for (NSString* type in offered) types->push_back(toText(type));
    const std::lock_guard lock(mutex_);
    mediaTypes_[sourceType] = std::move(types);
    return isAvailable;
  }
}

std::optional<std::vector<std::string>> ImagePickers::availableMediaTypesForSourceType(
    std::int64_t sourceType) {
  const std::lock_guard lock(mutex_);
  return mediaTypes_[sourceType];
}

}  // namespace vecamera_ios
