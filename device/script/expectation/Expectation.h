#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "device/script/json/StrictJson.h"

namespace vecamera::device::script {

/// The events of one step of a flow.
struct StepEvents {
  /// The step's "do"; for the events after the last step it is `endOfScript`.
  std::string action;
  std::vector<Json> events;
};

inline constexpr std::string_view endOfScript = "end";

/// What a flow shows, step by step, in the form that is the same on every machine (see
/// PortableEvents.h). Beyond its steps, a last entry holds what the end of the script brings about.
struct Expectation {
  std::vector<StepEvents> steps;
};

/// The text of an expectation's file: one JSON object a line, for each step {"do": ACTION} and then
/// its events. A step without events has its line, too, so that steps can be counted; the end has
/// one only where it brings something about.
std::string toText(const Expectation& expectation);

/// The expectation in such a text. The error names the line, from 1.
ScriptResult<Expectation> parseExpectation(std::string_view text);

}  // namespace vecamera::device::script
