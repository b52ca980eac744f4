#pragma once

#include <set>
#include <vector>

#include "device/screen/Screen.h"

namespace vecamera::device::screen {

/// A screen that only remembers what is on it, for a script or a person who plays the user. Used on
/// one thread at a time.
class ScriptedScreen : public Screen {
 public:
  explicit ScriptedScreen(container::DeviceObserver& observer) : observer_(observer) {}

  void show(const PresentedViewController& controller, bool animated) override {
    controllers_.push_back(controller);
    observer_.onPresented(controller, animated);
  }
  void hide(const PresentedViewController& controller, bool animated) override {
    std::erase(controllers_, controller);
    observer_.onDismissed(controller, animated);
  }
  void showPrompt(container::Permission permission) override {
    prompts_.insert(permission);
    observer_.onPromptShown(permission);
  }
  void hidePrompt(container::Permission permission) override { prompts_.erase(permission); }

  /// What the user can reach: the topmost controller, as an alert or a picker, or null.
  std::shared_ptr<UIAlertController> alert() const { return topmost<UIAlertController>(); }
  std::shared_ptr<UIImagePickerController> picker() const {
    return topmost<UIImagePickerController>();
  }
  const std::set<container::Permission>& prompts() const { return prompts_; }
  void clear() {
    controllers_.clear();
    prompts_.clear();
  }

 private:
  template <class Controller>
  std::shared_ptr<Controller> topmost() const {
    if (controllers_.empty()) return nullptr;
    const auto* held = std::get_if<std::shared_ptr<Controller>>(&controllers_.back());
    return held ? *held : nullptr;
  }

  container::DeviceObserver& observer_;
  std::vector<PresentedViewController> controllers_;
  std::set<container::Permission> prompts_;
};

}  // namespace vecamera::device::screen
