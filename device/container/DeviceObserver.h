#pragma once

#include <string>
#include <string_view>

#include "VECamera/platform/Container.h"
#include "VECamera/platform/UIKit.h"

namespace vecamera::device::container {

class Callback;

/// The permissions that the system asks the user for.
enum class Permission { camera, photoLibrary, location };

/// "camera", "photoLibrary" or "location".
std::string_view nameOf(Permission permission);

/// What the outside sees of a device, in the order in which it happens. Each member is called on
/// the executor on which the thing happens; the defaults do nothing.
class DeviceObserver {
 public:
  virtual ~DeviceObserver() = default;
  /// The callback's record holds the answer.
  virtual void answered(const Callback& /*callback*/) {}
  /// The plug-in answered the callback again; the container refused that.
  virtual void answerRefused(const Callback& /*callback*/) {}
  virtual void loggedDebug(std::string_view /*msg*/) {}
  virtual void loggedError(std::string_view /*tag*/, std::string_view /*msg*/,
                           std::string_view /*filename*/, int /*line*/,
                           std::string_view /*funcName*/) {}
  /// A line that the module wrote to standard output.
  virtual void printed(std::string_view /*line*/) {}
  virtual void promptShown(Permission /*permission*/) {}
  virtual void presented(const UIViewController& /*controller*/, bool /*animated*/) {}
  virtual void dismissed(const UIViewController& /*controller*/, bool /*animated*/) {}
  virtual void openedURL(const URL& /*url*/) {}
  /// "requestWhenInUseAuthorization", "start" or "stop".
  virtual void locationManagerTold(std::string_view /*what*/) {}
};

}  // namespace vecamera::device::container
