#pragma once

#include <memory>
#include <optional>
#include <string_view>
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
  /// An update arrived. Called on the thread that the platform chooses (the software device: the
  /// main queue).
  virtual void locationManagerDidUpdateLocations(const std::shared_ptr<CLLocationManager>& manager,
                                                 const std::vector<CLLocation>& locations) = 0;
};

/// A source of location updates, made by `CoreLocation`. Members may be called on any executor.
class CLLocationManager : public Object {
 public:
  virtual void setDesiredAccuracy(double metres) = 0;
  virtual double desiredAccuracy() const = 0;
  /// Held weakly.
  virtual void setDelegate(std::weak_ptr<CLLocationManagerDelegate> delegate) = 0;
  virtual std::shared_ptr<CLLocationManagerDelegate> delegate() const = 0;
  /// Runs the manager's operation of that name ("requestWhenInUseAuthorization") on the next pass
  /// of the main run loop, never before this call returns. A name that it does not know does
  /// nothing.
  virtual void performSelectorAfterZeroDelay(std::string_view selector) = 0;
  /// Updates go to the delegate from now on, as long as the user allows it.
  virtual void startUpdatingLocation() = 0;
  virtual void stopUpdatingLocation() = 0;
  /// The latest fix, or nothing.
  virtual std::optional<CLLocation> location() const = 0;
};

class CoreLocation {
 public:
  virtual ~CoreLocation() = default;
  virtual std::shared_ptr<CLLocationManager> makeLocationManager() = 0;
};

}  // namespace vecamera
