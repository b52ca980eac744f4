#pragma once

#include <string>

#include "device/base/Result.h"

namespace vecamera::device::script {

/// Why something cannot be read, set up or played. The one error type of device scripts.
struct ScriptError {
  /// Where in the document: "line 3, column 5", both from 1, or "steps[3].photo". Empty where it is
  /// the document as a whole, or no document is at hand.
  std::string place;
  /// For people: one line.
  std::string message;

  /// "PLACE: MESSAGE", also one line.
  std::string description() const { return place.empty() ? message : place + ": " + message; }
};

template <class T = void>
using ScriptResult = Result<T, ScriptError>;

/// `return failed("...")` out of a function that gives a `ScriptResult<T>`.
inline Failure<ScriptError> failed(std::string message) {
  return {{"", std::move(message)}};
}
inline Failure<ScriptError> failed(std::string place, std::string message) {
  return {{std::move(place), std::move(message)}};
}

}  // namespace vecamera::device::script
