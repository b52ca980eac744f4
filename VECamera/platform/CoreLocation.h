#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "VECamera/platform/Foundation.h"
#include "VECamera/platform/Value.h"

namespace vecamera {

/// In metres.
inline constexpr double kCLLocationAccuracyNearestTenMeters = 10.0;

struct CLLocationCoordinate2D {
  /// In degrees, north and east positive.
  double latitude = 0;
  double longitude = 0;
};

/// One fix.
struct CLLocation {
  CLLocationCoordinate2D coordinate;
  /// In metres above sea level, as the platform gives it; not-a-number only where it says so.
  double altitude = 0;
  Date timestamp;
};

class CLLocationManager;

class CLLocationManagerDelegate {
 public:
  virtual ~CLLocationManagerDelegate() = default;
  /// An update arrived, whose fix `location()` of the manager gives during this call. Called on a
  /// thread of the platform's choosing (the software device: the main queue), one call at a time,
  /// never inside a call of another member. The photo that waits for the update is encoded and
  /// written in this call, so a host whose main thread serves a user calls on a serial background
  /// queue, with what the fix was.
  virtual void locationManagerDidUpdateLocations(const std::shared_ptr<CLLocationManager>& manager,
                                                 const std::vector<CLLocation>& locations) = 0;
};

/// A source of location updates, made by `CoreLocation` or given by the container. What the
/// container gave, it gets back as the same object. Members may be called on any executor; the
/// getters answer what was last set. An implementation may defer what the setters and operations do
/// to its main thread, in their order, and does not wait for it.
class CLLocationManager : public Object {
 public:
  virtual void setDesiredAccuracy(double metres) = 0;
  virtual double desiredAccuracy() const = 0;
  /// Held weakly.
  virtual void setDelegate(std::weak_ptr<CLLocationManagerDelegate> delegate) = 0;
  virtual std::shared_ptr<CLLocationManagerDelegate> delegate() const = 0;
  /// Asks the user for permission to use the location while the application is in use, where that
  /// is not decided yet; on the next pass of the main run loop, never before this call returns.
  virtual void requestWhenInUseAuthorizationAfterZeroDelay() = 0;
  /// Updates go to the delegate from now on, as long as the user allows it.
  virtual void startUpdatingLocation() = 0;
  /// When it has returned, no further call of the delegate begins, also where the platform stops
  /// later: one that waits in a queue is dropped. Called inside the delegate's call, too.
  virtual void stopUpdatingLocation() = 0;
  /// The fix of the delegate's latest call, or nothing.
  virtual std::optional<CLLocation> location() const = 0;
};

class CoreLocation {
 public:
  virtual ~CoreLocation() = default;
  /// Null where there is none; then no update comes. Any executor.
  virtual std::shared_ptr<CLLocationManager> makeLocationManager() = 0;
};

}  // namespace vecamera
