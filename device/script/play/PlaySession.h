#pragma once

#include "device/script/assembly/ScriptedDevice.h"
#include "device/script/json/StrictJson.h"
#include "device/script/play/Player.h"

namespace vecamera::device::script {

class EventWriter;

/// Takes one event, a JSON object. Whoever writes it uses `toLine`.
using EventSink = std::function<void(const Json& event)>;

/// `playScript`, with the events as they are before they are lines.
Result<PlayResult, ScriptError> playScriptAsJson(const Script& script, const PlayOptions& options,
                                                 EventSink sink, std::ostream& diagnostics);

/// A device that is played step by step: by a script's player, or by whoever takes the user's place
/// in front of a screen. One thread conducts a session; the sink and the diagnostics are used while
/// it runs jobs, on one thread at a time.
///
/// The device has *settled* when no job is left to run and none waits for the world outside.
class PlaySession {
 public:
  static Result<std::unique_ptr<PlaySession>, ScriptError> make(const DeviceSetup& setup,
                                                                const PlayOptions& options,
                                                                EventSink sink,
                                                                std::ostream& diagnostics);
  /// Ends the device. What its end brings about is not reported.
  ~PlaySession();
  PlaySession(const PlaySession&) = delete;
  PlaySession& operator=(const PlaySession&) = delete;

  /// Plays one step, without letting the device settle. After an error nothing has happened.
  Result<void, ScriptError> play(const Step& step);
  /// Runs jobs until the device has settled. An error: it does not, or its process has ended.
  Result<void, ScriptError> settle();
  /// Runs jobs until none is left that can run; one that waits for the world outside is asked once
  /// more and left waiting. An error: the play was interrupted, or the device's process has ended.
  Result<void, ScriptError> runReadyJobs();
  /// An error: the process on which the device stands in for the application's has ended.
  Result<void, ScriptError> checkProcess() const;
  /// What a job waits for, in plain words; nothing where none waits.
  std::optional<std::string> waitingFor() const;
  /// Why the callback has no answer, in plain words.
  std::string pendingReason(const container::Callback& callback) const;
  void reportOpenCallbacks();
  void reportFailure(std::size_t step, const ScriptError& error);

  ScriptedDevice& device() { return *device_; }

 private:
  PlaySession(const PlayOptions& options, EventSink sink, std::ostream& diagnostics);

  const PlayOptions options_;
  std::ostream& diagnostics_;
  /// The end of the device is no part of the play.
  bool isReporting_ = true;
  std::unique_ptr<EventWriter> events_;
  std::unique_ptr<ScriptedDevice> device_;
};

}  // namespace vecamera::device::script
