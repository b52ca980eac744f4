#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>

#include "simulator/server/phone/PhoneLibrary.h"

/// What a browser asks of its phone.
namespace vecamera::simulator {

/// Plays one step of a device script.
struct StepRequest {
  Json step;
};
/// Ends the device and makes a new one.
struct RestartRequest {
  /// The `device` part of a device script, or what changes in that of the device that ends.
  enum class Part { whole, changes };
  Part part = Part::whole;
  Json device;
  OldAssets oldAssets = OldAssets::keep;
};
/// Adds the sample media to the photo library.
struct RestoreSamplesRequest {};
/// Changes how the device is set, and what it does by itself.
struct ConfigureRequest {
  /// An object.
  Json changes;
};

struct PhoneRequest {
  /// A number of the browser's choice.
  Json id;
  std::variant<StepRequest, RestartRequest, RestoreSamplesRequest, ConfigureRequest> what;
  /// Of its message.
  std::size_t bytes = 0;
};

/// Why a message is no request. Its code is always `badRequest`.
struct PhoneRequestError {
  /// Of the message; null where none can be read.
  Json id;
  std::string message;
};

device::Result<PhoneRequest, PhoneRequestError> parsePhoneRequest(std::string_view message);

}  // namespace vecamera::simulator
