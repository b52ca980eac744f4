#pragma once

#include "device/script/play/PlaySession.h"

namespace vecamera::device::script {

enum class PlayOutcome {
  /// The script was played to its end.
  finished,
  /// A step could not be played; the last event says why.
  failed,
};

/// Sets the device up, plays the steps against the real module, and reports what the device, the
/// container and the page saw, in order. The sink is called on one thread at a time. Diagnostics
/// get lines for people. An error: the device cannot be set up, so nothing was played.
Result<PlayOutcome, ScriptError> playScript(const Script& script, const PlayOptions& options,
                                            EventSink sink, std::ostream& diagnostics);

}  // namespace vecamera::device::script
