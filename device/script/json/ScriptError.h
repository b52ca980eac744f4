#pragma once

#include <string>

#include "device/base/Result.h"

namespace vecamera::device::script {

/// Why something cannot be read, set up or played. The one error type of device scripts.
struct ScriptError {
  /// Where in the document: "line 3, column 5", both from 1, or "steps[3].photo". Empty where it is
  /// the document as a whole, or no document is at hand.
  std::string place;
  /// One line.
  std::string why;

  /// "PLACE: WHY", for people.
  std::string message() const { return place.empty() ? why : place + ": " + why; }
};

/// `return failed("...")` out of a function that gives a `Result<T, ScriptError>`.
inline Failure<ScriptError> failed(std::string why) {
  return {{"", std::move(why)}};
}
inline Failure<ScriptError> failed(std::string place, std::string why) {
  return {{std::move(place), std::move(why)}};
}

}  // namespace vecamera::device::script
