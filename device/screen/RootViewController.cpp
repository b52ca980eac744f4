#include "device/screen/RootViewController.h"

namespace vecamera::device::screen {

void RootViewController::presentViewController(PresentedViewController presented, bool animated,
                                               Completion completion) {
  const auto controller = viewControllerOf(presented);
  if (controller->presentingViewController()) return;
  controller->setPeer(shared_from_this());
  controller->viewWillAppear(animated);
  presented_.push_back(presented);
  screen_.show(presented, animated);
  if (completion) mainQueue_.post(std::move(completion));
}

void RootViewController::dismissViewControllerAnimated(bool animated, Completion completion) {
  if (presented_.empty()) return;
  const auto top = std::move(presented_.back());
  presented_.pop_back();
  // From here on it has no presenter. The caller may hold this object through it alone.
  const auto keep = shared_from_this();
  viewControllerOf(top)->setPeer(nullptr);
  screen_.hide(top, animated);
  if (completion) mainQueue_.post(std::move(completion));
}

void RootViewController::clear() {
  for (const auto& presented : std::exchange(presented_, {}))
    viewControllerOf(presented)->setPeer(nullptr);
}

}  // namespace vecamera::device::screen
