#pragma once

#include <chrono>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

#include "device/script/assembly/ScriptedDevice.h"
#include "device/script/play/EventWriter.h"

namespace vecamera::device::script {

class PlayerEvents;

struct PlayOptions {
  /// How long one settling may take.
  std::chrono::milliseconds limit{30000};
  /// Asked between jobs; true ends the play as a failure, with everything cleaned up. Empty: never.
  std::function<bool()> isInterrupted{};
  /// Notified how far the running export of a movie is, from 0 to 1, on one thread at a time. May
  /// be empty.
  std::function<void(float)> onExportProgress{};
  /// Notified of the services that the plug-in used, on one thread at a time. May be empty; it
  /// changes no event.
  TraceSink onTrace{};
};

/// A device that is played step by step: by a script's player, or by whoever takes the user's place
/// in front of a screen. One thread conducts a session; the sink and the diagnostics are used while
/// it runs jobs, on one thread at a time.
///
/// The device has *settled* when no job is left to run and none waits for the world outside.
class PlaySession {
 public:
  /// The device, set up.
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
  /// Reports every callback that has no answer.
  void reportOpenCallbacks();
  /// Reports that a step could not be played.
  void reportFailure(std::size_t step, const ScriptError& error);

  ScriptedDevice& device() { return *device_; }

 private:
  PlaySession(const PlayOptions& options, EventSink sink, std::ostream& diagnostics);
  TraceSink traceSink() const;

  const PlayOptions options_;
  std::ostream& diagnostics_;
  /// The end of the device is no part of the play.
  bool isReporting_ = true;
  std::unique_ptr<PlayerEvents> events_;
  std::unique_ptr<ScriptedDevice> device_;
};

}  // namespace vecamera::device::script
