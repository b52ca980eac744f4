#pragma once

#include <vector>

#include "VECamera/runtime/Executor.h"
#include "device/screen/Screen.h"

namespace vecamera::device::screen {

/// The container's own controller: everything that is presented stands on it, the latest on top. A
/// dismissal takes the topmost one off. Used on the main queue.
class RootViewController : public UIViewController,
                           public std::enable_shared_from_this<RootViewController> {
 public:
  /// Screen and queue outlive the controller.
  RootViewController(Screen& screen, Executor& mainQueue)
      : screen_(screen), mainQueue_(mainQueue) {}

  void presentViewController(std::shared_ptr<UIViewController> presented, bool animated,
                             Completion completion) override;
  void dismissViewControllerAnimated(bool animated, Completion completion) override;
  /// Takes everything off without a callback, for the end of the device.
  void clear() { presented_.clear(); }

 private:
  Screen& screen_;
  Executor& mainQueue_;
  std::vector<std::shared_ptr<UIViewController>> presented_;
};

}  // namespace vecamera::device::screen
