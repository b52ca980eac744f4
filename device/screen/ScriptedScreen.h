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

  void show(const std::shared_ptr<UIViewController>& controller, bool animated) override;
  void hide(const std::shared_ptr<UIViewController>& controller, bool animated) override;
  void showPrompt(container::Permission permission) override;
  void hidePrompt(container::Permission permission) override;

  /// What the user can reach: the topmost controller, as an alert or a picker, or null.
  std::shared_ptr<UIAlertController> alert() const;
  std::shared_ptr<UIImagePickerController> picker() const;
  const std::set<container::Permission>& prompts() const { return prompts_; }
  void clear();

 private:
  container::DeviceObserver& observer_;
  std::vector<std::shared_ptr<UIViewController>> controllers_;
  std::set<container::Permission> prompts_;
};

}  // namespace vecamera::device::screen
