#pragma once

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "device/script/assembly/ScriptedDevice.h"
#include "device/script/play/Player.h"

namespace vecamera::device::script {

class PlayerEvents;

/// A device that is played step by step: by a script's player, or by whoever takes the user's place
/// in front of a screen. One thread conducts a session; the sink and the diagnostics are used while
/// it runs jobs, on one thread at a time.
class PlaySession {
 public:
  /// The device, set up, or why it cannot be: one line that names the place.
  static std::variant<std::unique_ptr<PlaySession>, std::string> make(const DeviceSetup& setup,
                                                                      const PlayerOptions& options,
                                                                      EventSink sink,
                                                                      std::ostream& diagnostics);
  /// Ends the device. What its end brings about is not reported.
  ~PlaySession();
  PlaySession(const PlaySession&) = delete;
  PlaySession& operator=(const PlaySession&) = delete;

  /// Plays one step, without letting the device settle. Nothing on success; otherwise why it could
  /// not be played, and then nothing has happened.
  std::optional<std::string> play(const Step& step);
  /// Runs jobs until none is left to run and none waits for the world outside. Nothing on success;
  /// otherwise why the device does not come to rest.
  std::optional<std::string> settle();
  /// Runs jobs until none is left that can run; one that waits for the world outside is asked once
  /// more and left waiting. Nothing on success.
  std::optional<std::string> runOn();
  /// What ended the process on which the device stands in for the application's; nothing: it runs.
  std::optional<std::string> fatalError() const;
  /// What a job waits for, in plain words; nothing where none waits.
  std::optional<std::string> waitingFor() const;
  /// Why the callback has no answer, in plain words, from how things stand now.
  std::string reasonForOpen(const container::Callback& callback) const;
  /// Reports every callback that has no answer.
  void reportOpenCallbacks();
  /// Reports that a step could not be played.
  void reportFailure(std::size_t step, const std::string& why);

  ScriptedDevice& device() { return *device_; }

 private:
  PlaySession(const PlayerOptions& options, EventSink sink, std::ostream& diagnostics);
  TraceSink traceSink() const;

  const PlayerOptions options_;
  std::ostream& diagnostics_;
  /// The end of the device is no part of the play.
  bool reporting_ = true;
  std::unique_ptr<PlayerEvents> events_;
  std::unique_ptr<ScriptedDevice> device_;
};

}  // namespace vecamera::device::script
