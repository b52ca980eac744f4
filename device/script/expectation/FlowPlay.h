#pragma once

#include <iosfwd>
#include <optional>

#include "device/script/expectation/Comparison.h"
#include "device/script/play/PlaySession.h"

namespace vecamera::device::script {

/// What a flow showed when it was played.
struct PlayedFlow {
  /// In the portable form. Without the step that could not be played, and what comes after it.
  Expectation shown;
  /// Why a step could not be played; nothing where all were.
  std::optional<Difference> failure;
};

/// Plays the script, and keeps its events by step. The error says why the device cannot be set up.
ScriptResult<PlayedFlow> playFlow(const Script& script, const PlayOptions& options,
                                  std::ostream& diagnostics);

/// What differs from the expectation, with the failure of the play last.
std::vector<Difference> compare(const Expectation& expected, const PlayedFlow& played,
                                const ComparisonOptions& options);

}  // namespace vecamera::device::script
