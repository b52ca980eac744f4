#pragma once

#include <memory>

#include "VECamera/platform/UIKit.h"
#include "device/container/DeviceObserver.h"

namespace vecamera::device::screen {

/// Where a device shows things: a script, a browser. Called on the main queue for controllers, and
/// on any executor for prompts.
class Screen {
 public:
  virtual ~Screen() = default;
  /// The controller is on top of everything else from now on. It is kept until `hide`.
  virtual void show(const PresentedViewController& controller, bool animated) = 0;
  virtual void hide(const PresentedViewController& controller, bool animated) = 0;
  /// A system prompt goes up; whoever looks after the screen reports the user's decision to its
  /// `PermissionGate`.
  virtual void showPrompt(container::Permission permission) = 0;
  virtual void hidePrompt(container::Permission permission) = 0;
};

}  // namespace vecamera::device::screen
