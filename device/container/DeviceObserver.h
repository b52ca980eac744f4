#pragma once

#include <string_view>

#include "VECamera/platform/Container.h"
#include "VECamera/platform/UIKit.h"
#include "device/container/Permission.h"

namespace vecamera::device::container {

class Callback;

/// Notified of what the outside sees of a device, in the order in which it happens. Each member is
/// called on the executor on which the thing happens; the defaults do nothing.
class DeviceObserver {
 public:
  virtual ~DeviceObserver() = default;
  /// The callback's record holds the answer.
  virtual void onAnswered(const Callback& /*callback*/) {}
  /// The plug-in answered the callback again; the container refused that.
  virtual void onAnswerRefused(const Callback& /*callback*/) {}
  virtual void onDebugLogged(std::string_view /*msg*/) {}
  virtual void onErrorLogged(std::string_view /*tag*/, std::string_view /*msg*/,
                             std::string_view /*filename*/, int /*line*/,
                             std::string_view /*funcName*/) {}
  /// A line that the module wrote to standard output.
  virtual void onPrinted(std::string_view /*line*/) {}
  virtual void onPromptShown(Permission /*permission*/) {}
  virtual void onPresented(const PresentedViewController& /*controller*/, bool /*animated*/) {}
  virtual void onDismissed(const PresentedViewController& /*controller*/, bool /*animated*/) {}
  virtual void onURLOpened(const URL& /*url*/) {}
  /// "requestWhenInUseAuthorization", "start" or "stop".
  virtual void onLocationManagerCall(std::string_view /*what*/) {}
};

}  // namespace vecamera::device::container
