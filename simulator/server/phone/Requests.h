#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <variant>

/// What a browser asks of its phone.
namespace vecamera::simulator {

/// Plays one step of a device script.
struct StepRequest {
  nlohmann::ordered_json step;
};
/// Ends the device and makes a new one.
struct RestartRequest {
  /// The `device` part of a device script.
  nlohmann::ordered_json device;
  bool keepLibrary = true;
};
/// Adds the sample media to the photo library.
struct RestoreSamplesRequest {};

struct PhoneRequest {
  /// A number of the browser's choice.
  nlohmann::ordered_json id;
  std::variant<StepRequest, RestartRequest, RestoreSamplesRequest> what;
};

/// Why a message is no request.
struct RequestRefusal {
  /// Null where it has none, or none before the place at which it is no JSON any more.
  nlohmann::ordered_json id;
  std::string why;
};

std::variant<PhoneRequest, RequestRefusal> parseRequest(std::string_view message);

}  // namespace vecamera::simulator
