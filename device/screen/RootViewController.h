#pragma once

#include <vector>

#include "VECamera/runtime/Executor.h"
#include "device/screen/Screen.h"

namespace vecamera::device::screen {

/// The container's own controller: everything that is presented stands on it, the latest on top. A
/// dismissal takes the topmost one off. What is presented already is refused. Used on the main
/// queue.
class RootViewController : public UIViewController,
                           public UIViewControllerPeer,
                           public std::enable_shared_from_this<RootViewController> {
 public:
  /// Screen and queue outlive the controller.
  RootViewController(Screen& screen, Executor& mainQueue)
      : screen_(screen), mainQueue_(mainQueue) {}

  void presentViewController(PresentedViewController presented, bool animated,
                             Completion completion) override;
  void dismissViewControllerAnimated(bool animated, Completion completion) override;
  std::shared_ptr<UIViewController> presenter() override { return shared_from_this(); }
  /// The screen has no status bar.
  void onStatusBarAppearanceChanged() override {}
  /// Takes everything off without a callback, for the end of the device: until then the controller
  /// and what it presents hold each other.
  void clear();

 private:
  Screen& screen_;
  Executor& mainQueue_;
  std::vector<PresentedViewController> presented_;
};

}  // namespace vecamera::device::screen
