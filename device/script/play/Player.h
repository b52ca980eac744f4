#pragma once

#include <chrono>
#include <functional>
#include <iosfwd>
#include <string>

#include "device/script/assembly/Tracing.h"
#include "device/script/script/Script.h"

namespace vecamera::device::script {

struct PlayerOptions {
  /// How long one settling may take.
  std::chrono::milliseconds limit{30000};
  /// Asked between jobs; true ends the play as a failure, with everything cleaned up. Empty: never.
  std::function<bool()> interrupted{};
  /// Told how far the running export of a movie is, from 0 to 1, on one thread at a time. May be
  /// empty.
  std::function<void(float)> exporting{};
  /// Told of the services that the plug-in used, on one thread at a time. May be empty; it changes
  /// no event.
  TraceSink trace{};
};

/// Takes one event: a JSON object on one line, without its line end.
using EventSink = std::function<void(const std::string& jsonLine)>;

enum class PlayOutcome {
  /// The script was played to its end.
  finished,
  /// A step could not be played; the last event says why.
  failed,
  /// The device could not be set up, so nothing was played; the diagnostics say why.
  notPlayable,
};

/// Sets the device up, plays the steps against the real module, and reports what the device, the
/// container and the page saw, in order. The sink is called on one thread at a time. Diagnostics
/// get lines for people.
PlayOutcome playScript(const Script& script, const PlayerOptions& options, const EventSink& sink,
                       std::ostream& diagnostics);

}  // namespace vecamera::device::script
