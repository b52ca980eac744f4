#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "VECamera/platform/Foundation.h"
#include "device/container/CallbackRegistry.h"
#include "device/script/assembly/Lanes.h"
#include "device/script/script/Script.h"

namespace vecamera::device::script {

/// What happened to a page command at a point where it can be held.
enum class HoldChange { held, continued, dropped };

/// Where page commands are to be held, and those that are. Used by the conductor and the lanes, of
/// which one runs at a time.
class Holds {
 public:
  /// A page command that is held, or was dropped. The callback is null where no command is current
  /// in the plug-in object.
  struct Held {
    HoldPoint at = HoldPoint::answer;
    std::shared_ptr<container::Callback> callback;
  };
  using Sink = std::function<void(HoldChange change, const Held& held)>;
  using CallbackSource = std::function<std::shared_ptr<container::Callback>()>;

  /// `current` gives the callback that is current in the plug-in object, or null. All of these
  /// outlive the object.
  Holds(Lanes& lanes, const NSClock& clock, CallbackSource current, Sink sink)
      : lanes_(lanes), clock_(clock), current_(std::move(current)), sink_(std::move(sink)) {}

  void set(const HoldStep& step) { plan_[step.at] = step; }

  /// The current command, or the one of the callback, has come to the point. True: it is held
  /// there, and `work` is called when it goes on, or destroyed where it never does. It is called by
  /// the conductor and throws nothing. Called on a lane, or by the conductor.
  bool keep(HoldPoint at, std::function<void()> work) { return keep(at, current_(), work); }
  bool keep(HoldPoint at, std::shared_ptr<container::Callback> callback,
            std::function<void()> work);
  /// The same for work that only its own thread can do: holds the lane that calls, in the middle of
  /// its job. Does nothing on a thread that is no lane.
  void holdLane(HoldPoint at);

  // Conductor only.

  /// What is held, in the order in which it came.
  std::vector<Held> held() const;
  /// When something that is held goes on by itself; nothing: it does not.
  std::optional<Date> nextDue() const;
  /// Everything that is held goes on; false where nothing is.
  bool continueAll();
  /// What is due goes on, the earliest first; false where nothing is.
  bool continueDue();
  /// Everything that is held never goes on; false where nothing is. What a lane was held for stays
  /// on its thread until the lanes stop.
  bool dropAll();
  /// Where the callback's command was dropped; nothing: it was not.
  std::optional<HoldPoint> droppedAt(const container::Callback& callback) const;
  /// Destroys what is held, without a change that anybody is notified of, for the end of the app.
  /// What is to be held from now on stays.
  void clear();

 private:
  struct Entry {
    Held what;
    std::optional<Date> due;
    /// One of these two.
    std::function<void()> work;
    Lanes::Lane* lane = nullptr;
  };

  /// Whether a command that comes to the point is held, which counts as one time.
  bool strikes(HoldPoint at);
  void add(HoldPoint at, std::shared_ptr<container::Callback> callback, std::function<void()> work,
           Lanes::Lane* lane);
  void goOn(const Entry& entry);

  Lanes& lanes_;
  const NSClock& clock_;
  const CallbackSource current_;
  const Sink sink_;
  std::map<HoldPoint, HoldStep> plan_;
  std::vector<Entry> entries_;
  std::vector<Held> dropped_;
};

}  // namespace vecamera::device::script
