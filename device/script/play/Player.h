#pragma once

#include <chrono>
#include <functional>
#include <iosfwd>
#include <string_view>

#include "device/base/CancellationCheck.h"
#include "device/container/PluginObject.h"
#include "device/script/assembly/TraceSpan.h"
#include "device/script/json/ScriptError.h"
#include "device/script/script/Script.h"

namespace vecamera::device::script {

struct PlayOptions {
  /// How long one settling may take.
  std::chrono::milliseconds limit{30000};
  /// Asked between jobs; true ends the play as a failure, with everything cleaned up. Empty: never.
  CancellationCheck isCancelled{};
  /// Notified how far the running export of a movie is, from 0 to 1, on one thread at a time. May
  /// be empty.
  std::function<void(float)> onExportProgress{};
  /// Notified of the services that the plug-in used, on one thread at a time. May be empty; it
  /// changes no event.
  TraceSink onTrace{};
  /// Called when a "kill" step ends the app, before its plug-in object ends, for a host that keeps
  /// more than the object. May be empty.
  std::function<void()> onKill{};
  /// Makes the device's plug-in objects.
  container::PluginFactory makePlugin = container::makePlugin;
};

enum class PlayResult {
  /// The script was played to its end.
  finished,
  /// A step could not be played; the last event says why.
  failed,
};

/// Sets the device up, plays the steps against the real module, and reports in order what device,
/// container and page saw. Each event is a JSON object in one line, without the line end; `onLine`
/// is called on one thread at a time. Diagnostics get lines for people. The error says why the
/// device cannot be set up; nothing was played then.
ScriptResult<PlayResult> playScript(const Script& script, const PlayOptions& options,
                                    const std::function<void(std::string_view)>& onLine,
                                    std::ostream& diagnostics);

}  // namespace vecamera::device::script
