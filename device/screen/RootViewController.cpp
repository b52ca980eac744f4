#include "device/screen/RootViewController.h"

namespace vecamera::device::screen {

void RootViewController::presentViewController(std::shared_ptr<UIViewController> presented,
                                               bool animated, Completion completion) {
  presented->setPresentingViewController(shared_from_this());
  presented->viewWillAppear(animated);
  presented_.push_back(presented);
  screen_.show(presented, animated);
  if (completion) mainQueue_.post(std::move(completion));
}

void RootViewController::dismissViewControllerAnimated(bool animated, Completion completion) {
  if (!presented_.empty()) {
    const auto top = std::move(presented_.back());
    presented_.pop_back();
    top->setPresentingViewController(nullptr);
    screen_.hide(top, animated);
  }
  if (completion) mainQueue_.post(std::move(completion));
}

}  // namespace vecamera::device::screen
