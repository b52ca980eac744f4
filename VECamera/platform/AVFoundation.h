#pragma once

#include <functional>
#include <string_view>

namespace vecamera {

inline constexpr std::string_view AVMediaTypeVideo = "vide";

/// With the platform's raw values; a platform may report others.
enum class AVAuthorizationStatus { notDetermined = 0, restricted = 1, denied = 2, authorized = 3 };

/// The camera's authorization.
class AVCaptureDevice {
 public:
  virtual ~AVCaptureDevice() = default;
  /// Any executor.
  virtual AVAuthorizationStatus authorizationStatusForMediaType(std::string_view mediaType) = 0;
  /// Asks the user where that is not decided yet. The handler runs once, on a thread of the
  /// platform's choosing, never before this call returns; true means granted.
  virtual void requestAccessForMediaType(std::string_view mediaType,
                                         std::function<void(bool granted)> handler) = 0;
};

}  // namespace vecamera
