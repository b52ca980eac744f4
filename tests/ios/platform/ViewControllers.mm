// View controllers with UIKit's rules of presenting, on the software device's screen.
#import <UIKit/UIKit.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <utility>

#import "tests/ios/platform/Presenting.h"
#import "tests/ios/platform/SoftwarePhone.h"
#import "tests/ios/platform/SoftwareValues.h"
#import "tests/ios/platform/SoftwareViewControllers.h"

namespace vecamera::ios {

void requireMainThread(const char* what) {
  if (NSThread.isMainThread) return;
  std::fprintf(stderr, "%s off the main thread\n", what);
  std::abort();
}

}  // namespace vecamera::ios

using vecamera::ios::requireMainThread;

@implementation UIResponder
- (UIResponder*)nextResponder {
  return nil;
}
@end

@implementation UIView
- (instancetype)initWithFrame:(CGRect)frame {
  self = [super init];
  if (self) self.frame = frame;
  return self;
}
- (instancetype)initWithCoder:(NSCoder*)coder {
  return [super init];
}
- (instancetype)init {
  return [self initWithFrame:CGRectZero];
}
- (void)encodeWithCoder:(NSCoder*)coder {
}
- (UIView*)superview {
  return nil;
}
- (UIWindow*)window {
  return nil;
}
- (void)addSubview:(UIView*)view {
}
- (void)removeFromSuperview {
}
@end

/// The animation of one presentation.
@interface SoftwareTransition : NSObject <UIViewControllerTransitionCoordinator>
- (void)end;
@end
@implementation SoftwareTransition {
  NSMutableArray* completions_;
}
- (BOOL)animateAlongsideTransition:
            (void (^)(id<UIViewControllerTransitionCoordinatorContext>))animation
                        completion:
                            (void (^)(id<UIViewControllerTransitionCoordinatorContext>))completion {
  if (!completions_) completions_ = [NSMutableArray array];
  [completions_ addObject:[completion copy]];
  return YES;
}
- (void)end {
  for (void (^completion)(id<UIViewControllerTransitionCoordinatorContext>) in completions_)
    completion(self);
}
@end

@interface UIViewController () <SoftwareObject>
@property(nullable, nonatomic, strong) UIViewController* shown;
@property(nullable, nonatomic, weak) UIViewController* shownBy;
/// Nil when no presentation of this controller animates.
@property(nullable, nonatomic, strong) SoftwareTransition* appearing;
@property(nonatomic) BOOL disappearing;
@property(nonatomic) std::shared_ptr<vecamera::UIViewController> device;
@end

@implementation UIViewController {
  UIView* view_;
}

- (instancetype)initWithNibName:(NSString*)nibName bundle:(NSBundle*)bundle {
  requireMainThread("a view controller is made");
  return [super init];
}
- (instancetype)initWithCoder:(NSCoder*)coder {
  requireMainThread("a view controller is made");
  return [super init];
}
- (instancetype)init {
  return [self initWithNibName:nil bundle:nil];
}
- (void)encodeWithCoder:(NSCoder*)coder {
}
- (void)dealloc {
  requireMainThread("a view controller ends");
}

- (std::shared_ptr<vecamera::Object>)softwareObject {
  return self.device;
}
- (UIView*)view {
  if (!view_) {
    [self loadView];
    [self viewDidLoad];
  }
  return view_;
}
- (void)setView:(UIView*)view {
  view_ = view;
}
- (UIView*)viewIfLoaded {
  return view_;
}
- (void)loadView {
  view_ = [[UIView alloc] initWithFrame:CGRectZero];
}
- (void)viewDidLoad {
}
- (void)viewWillAppear:(BOOL)animated {
}
- (void)viewDidAppear:(BOOL)animated {
}
- (void)viewWillDisappear:(BOOL)animated {
}
- (void)viewDidDisappear:(BOOL)animated {
}
- (void)setNeedsStatusBarAppearanceUpdate {
  requireMainThread("the status bar is asked to change");
}
- (UIStatusBarStyle)preferredStatusBarStyle {
  return UIStatusBarStyleDefault;
}
- (BOOL)prefersStatusBarHidden {
  return NO;
}
- (UIInterfaceOrientationMask)supportedInterfaceOrientations {
  return UIInterfaceOrientationMaskAll;
}
- (UIViewController*)childViewControllerForStatusBarStyle {
  return nil;
}
- (UIViewController*)childViewControllerForStatusBarHidden {
  return nil;
}
- (UIViewController*)parentViewController {
  return nil;
}
- (UIPresentationController*)presentationController {
  return nil;
}

// Both stay until the animation of the dismissal has ended.
- (UIViewController*)presentedViewController {
  return self.shown;
}
- (UIViewController*)presentingViewController {
  return self.shownBy;
}
- (BOOL)isBeingPresented {
  return self.appearing != nil;
}
- (id<UIViewControllerTransitionCoordinator>)transitionCoordinator {
  return self.appearing ?: self.shown.appearing;
}
- (BOOL)isBeingDismissed {
  return self.disappearing;
}

- (std::optional<vecamera::PresentedViewController>)makeRecord {
  return std::nullopt;
}

/// The device's controller that this one stands on; null where no device shows it.
- (std::shared_ptr<vecamera::UIViewController>)screen {
  UIViewController* lowest = self;
  while (lowest.shownBy) lowest = lowest.shownBy;
  return lowest.device;
}

- (void)presentViewController:(UIViewController*)controller
                     animated:(BOOL)animated
                   completion:(void (^)(void))completion {
  requireMainThread("a view controller is presented");
  if (controller.shownBy || controller == self)
    [[NSException exceptionWithName:NSInvalidArgumentException
                             reason:@"the view controller is presented already"
                           userInfo:nil] raise];
  // UIKit only warns: nothing is shown and the completion never runs.
  if (self.shown) return;
  self.shown = controller;
  controller.shownBy = self;
  controller.appearing = [[SoftwareTransition alloc] init];
  [controller viewWillAppear:animated];
  void (^const ended)(void) = ^{
    SoftwareTransition* const transition = controller.appearing;
    controller.appearing = nil;
    [transition end];
    [controller viewDidAppear:animated];
    if (completion) completion();
  };
  const auto screen = [self screen];
  const auto record = screen ? [controller makeRecord] : std::nullopt;
  if (record)
    screen->presentViewController(*record, animated, [ended] {
      @autoreleasepool {
        ended();
      }
    });
  else
    dispatch_async(dispatch_get_main_queue(), ended);
}

- (void)dismissViewControllerAnimated:(BOOL)animated completion:(void (^)(void))completion {
  requireMainThread("a view controller is dismissed");
  if (!self.shown) {
    [self.shownBy dismissViewControllerAnimated:animated completion:completion];
    return;
  }
  // UIKit only warns: nothing is taken off and the completion never runs.
  for (UIViewController* above = self.shown; above; above = above.shown)
    if (above.appearing) return;
  [self takeOffAnimated:animated
                   then:[completion] {
                     if (completion) completion();
                   }];
}

- (void)takeOffThen:(std::function<void()>)afterwards {
  [self takeOffAnimated:YES then:std::move(afterwards)];
}

- (void)takeOffAnimated:(BOOL)animated then:(std::function<void()>)afterwards {
  UIViewController* const controller = self.shown;
  // A second dismissal during the first one's animation is lost.
  if (controller.disappearing) return;
  if (controller.shown) [controller takeOffAnimated:NO then:[] {}];
  controller.disappearing = YES;
  [controller viewWillDisappear:animated];
  const auto ended = [self, controller, animated, afterwards = std::move(afterwards)] {
    @autoreleasepool {
      controller.disappearing = NO;
      controller.shownBy = nil;
      self.shown = nil;
      [controller viewDidDisappear:animated];
      afterwards();
    }
  };
  const auto screen = [self screen];
  if (screen)
    screen->dismissViewControllerAnimated(animated, ended);
  else
    dispatch_async(dispatch_get_main_queue(), ^{
      ended();
    });
}
@end

@implementation UINavigationController
- (instancetype)initWithNavigationBarClass:(Class)navigationBarClass
                              toolbarClass:(Class)toolbarClass {
  return [super initWithNibName:nil bundle:nil];
}
- (instancetype)initWithRootViewController:(UIViewController*)rootViewController {
  self = [super initWithNibName:nil bundle:nil];
  if (self) self.viewControllers = @[ rootViewController ];
  return self;
}
- (instancetype)initWithNibName:(NSString*)nibName bundle:(NSBundle*)bundle {
  return [super initWithNibName:nibName bundle:bundle];
}
- (instancetype)initWithCoder:(NSCoder*)coder {
  return [super initWithCoder:coder];
}
@end

namespace vecamera::ios {
namespace {

/// What is on screen, whoever else keeps it.
auto& standIns() {
  static auto& all = *new std::map<std::shared_ptr<UIViewController>, ::UIViewController*>;
  return all;
}

}  // namespace

::UIViewController* viewControllerFromDevice(std::shared_ptr<UIViewController> controller) {
  requireMainThread("a view controller is asked for");
  if (!controller) return nil;
  auto& standIn = standIns()[controller];
  if (!standIn) {
    standIn = [[::UIViewController alloc] init];
    standIn.device = std::move(controller);
  }
  return standIn;
}

void clearScreen() {
  standIns().clear();
}

}  // namespace vecamera::ios
