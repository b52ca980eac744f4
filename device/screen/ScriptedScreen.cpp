#include "device/screen/ScriptedScreen.h"

#include <algorithm>

namespace vecamera::device::screen {

void ScriptedScreen::show(const std::shared_ptr<UIViewController>& controller, bool animated) {
  controllers_.push_back(controller);
  observer_.onPresented(*controller, animated);
}

void ScriptedScreen::hide(const std::shared_ptr<UIViewController>& controller, bool animated) {
  std::erase(controllers_, controller);
  observer_.onDismissed(*controller, animated);
}

void ScriptedScreen::showPrompt(container::Permission permission) {
  prompts_.insert(permission);
  observer_.onPromptShown(permission);
}

void ScriptedScreen::hidePrompt(container::Permission permission) {
  prompts_.erase(permission);
}

std::shared_ptr<UIAlertController> ScriptedScreen::alert() const {
  return controllers_.empty() ? nullptr
                              : std::dynamic_pointer_cast<UIAlertController>(controllers_.back());
}

std::shared_ptr<UIImagePickerController> ScriptedScreen::picker() const {
  return controllers_.empty()
             ? nullptr
             : std::dynamic_pointer_cast<UIImagePickerController>(controllers_.back());
}

void ScriptedScreen::clear() {
  controllers_.clear();
  prompts_.clear();
}

}  // namespace vecamera::device::screen
