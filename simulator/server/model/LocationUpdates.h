#pragma once

#include <chrono>
#include <optional>

#include "simulator/server/base/ErrorCode.h"

namespace vecamera::simulator {

/// Whether the device does by itself what it was set to do. A driver or a replay that plays the
/// user itself switches it off.
enum class Automation { on, off };

/// The location updates that a device gives by itself, as soon as a location manager is running and
/// the user allows the location. It only says what is due; its owner delivers it. Used on one
/// thread.
class LocationUpdates {
 public:
  using Clock = std::chrono::steady_clock;

  enum class Mode {
    none,
    /// The fix, once for each manager that is started.
    fix,
    /// The same, after the delay.
    late,
    /// Each second a point of a walk around the fix.
    moving,
  };
  struct Settings {
    Mode mode = Mode::none;
    /// Of `late`.
    std::chrono::milliseconds delay{0};
    /// As a device script has it; an object with "latitude" and "longitude".
    Json fix = {{"latitude", 0}, {"longitude", 0}};
  };

  /// The settings of a JSON object of "mode", "delay" (in seconds) and "fix". What is left out
  /// stays as it is in `current`.
  static RequestResult<Settings> parse(const Json& json, const Settings& current);
  Json toJson() const;
  const Settings& settings() const { return settings_; }

  void configure(Settings settings, Clock::time_point now);
  /// Off ends what is under way. Once on again, only a manager that is started gets an update, or
  /// the one that is running when the settings change.
  void setAutomation(Automation automation);
  Automation automation() const { return automation_; }
  /// Whether a manager is running that the user lets know where the device is.
  void setLooking(bool isLooking, Clock::time_point now);
  /// A manager was started, maybe beside one that is running.
  void onManagerStarted(Clock::time_point now);
  /// A new device replaces the old one.
  void onRestart();

  /// When the next update is due; nothing: never.
  std::optional<Clock::time_point> due() const { return due_; }
  /// The fix to deliver at the time; nothing where none is due yet.
  std::optional<Json> take(Clock::time_point now);

 private:
  void begin(Clock::time_point now);

  Settings settings_;
  Automation automation_ = Automation::on;
  bool isLooking_ = false;
  std::optional<Clock::time_point> due_;
  /// When the walk began.
  std::optional<Clock::time_point> walkBegan_;
};

/// A point of the walk around the fix, after so long: a circle of some 670 metres, in two minutes.
Json pointOfWalk(const Json& around, std::chrono::duration<double> since);

}  // namespace vecamera::simulator
