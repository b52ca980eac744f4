#include "VECamera/platform/UIKit.h"

namespace vecamera {

void UIViewController::presentViewController(std::shared_ptr<UIViewController> /*presented*/,
                                             bool /*animated*/, Completion /*completion*/) {}

void UIViewController::dismissViewControllerAnimated(bool animated, Completion completion) {
  if (const auto presenting = presenting_.lock())
    presenting->dismissViewControllerAnimated(animated, std::move(completion));
}

void UIViewController::viewWillAppear(bool /*animated*/) {}

}  // namespace vecamera
