#pragma once

#include "device/script/assembly/ScriptedDevice.h"
#include "device/script/json/StrictJson.h"
#include "device/script/play/PendingReason.h"
#include "device/script/play/Player.h"

namespace vecamera::device::script {

class EventWriter;
class PlaySession;

/// Takes one event, a JSON object. `toLine` makes a line of it.
using EventSink = std::function<void(const Json& event)>;

/// `playScript`, with events as values.
ScriptResult<PlayResult> playScriptAsJson(const Script& script, const PlayOptions& options,
                                          EventSink sink, std::ostream& diagnostics);

/// Plays the script's steps on a session that was made for its device, and reports what stays open.
/// `onStep` is notified of the number of each step, from 0, before it is played, and then of how
/// many there are, before what stays open is reported. It may be empty.
PlayResult playSteps(const Script& script, PlaySession& session,
                     const std::function<void(std::size_t)>& onStep = {});

/// An asset as the `library` event lists it.
Json assetToJson(const photos::AssetRecord& record);

/// A device that is played step by step: by a script's player, or by the user of a phone in the
/// browser. One thread conducts a session; the sink and the diagnostics are used while it runs
/// jobs, on one thread at a time.
///
/// The device has *settled* when no job is left to run and none waits for the world outside. What
/// is held waits for a step. Where the clock runs by itself, the device is not settled before what
/// is held for a time has gone on.
class PlaySession {
 public:
  static ScriptResult<std::unique_ptr<PlaySession>> make(const DeviceSetup& setup,
                                                         const PlayOptions& options, EventSink sink,
                                                         std::ostream& diagnostics);
  /// Ends the device. What its end brings about is not reported.
  ~PlaySession();
  PlaySession(const PlaySession&) = delete;
  PlaySession& operator=(const PlaySession&) = delete;

  /// Plays one step, without letting the device settle. After an error nothing has happened.
  ScriptResult<> play(const Step& step);
  /// Runs jobs until the device has settled. An error: it does not, or its process has ended.
  ScriptResult<> settle();
  /// Runs jobs until none is left that can run. One that waits for the world outside polls once
  /// more and may go on waiting. An error: the play was interrupted, or the device's process has
  /// ended.
  ScriptResult<> runReadyJobs();
  /// An error: the module has ended the application's process.
  ScriptResult<> checkProcess() const;
  /// What a job waits for, in plain words; nothing where none waits.
  std::optional<std::string> waitingFor() const;
  /// Why the callback has no answer.
  PendingReason pendingReason(const container::Callback& callback) const;
  /// The name of the callback whose command the device is working for, or was last, as far as the
  /// thread that calls knows; empty: for none. From within the sinks, of the event or trace at
  /// hand.
  std::string commandAtWork() const { return device_->lanes.purpose(); }
  void reportOpenCallbacks();
  void reportFailure(std::size_t step, const ScriptError& error);

  ScriptedDevice& device() { return *device_; }

 private:
  std::string purposeOf(const Step& step) const;
  PlaySession(const PlayOptions& options, EventSink sink, std::ostream& diagnostics);

  const PlayOptions options_;
  std::ostream& diagnostics_;
  /// False while the device or its app ends.
  bool isReporting_ = true;
  std::unique_ptr<EventWriter> events_;
  std::unique_ptr<ScriptedDevice> device_;
};

}  // namespace vecamera::device::script
