#include "VECamera/platform/UIKit.h"

namespace vecamera {

std::shared_ptr<UIViewController> viewControllerOf(const PresentedViewController& presented) {
  return std::visit([](const auto& one) -> std::shared_ptr<UIViewController> { return one; },
                    presented);
}

void UIViewController::presentViewController(PresentedViewController /*presented*/,
                                             bool /*animated*/, Completion /*completion*/) {}

void UIViewController::dismissViewControllerAnimated(bool animated, Completion completion) {
  if (const auto presenting = presentingViewController())
    presenting->dismissViewControllerAnimated(animated, std::move(completion));
}

void UIViewController::viewWillAppear(bool /*animated*/) {}

void UIViewController::setNeedsStatusBarAppearanceUpdate() {
  if (peer_) peer_->onStatusBarAppearanceChanged();
}

}  // namespace vecamera
