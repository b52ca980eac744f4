#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "VECamera/platform/CoreLocation.h"
#include "VECamera/runtime/Executor.h"
#include "device/container/DeviceObserver.h"
#include "device/location/LocationAuthorization.h"
#include "device/screen/Permissions.h"

namespace vecamera::device::location {

/// Location of a device, which a script or a person sets. A manager that is running and allowed
/// gets one update on the main queue when it starts, where the device has a standing fix, and one
/// for each `update`, which leaves the standing fix as it is. Any thread; outlives its managers.
class LocationService : public CoreLocation {
 public:
  LocationService(screen::PermissionGate<LocationAuthorization>& permission, Executor& mainQueue,
                  container::DeviceObserver& observer);
  ~LocationService() override;

  std::shared_ptr<CLLocationManager> makeLocationManager() override;
  /// The fix that managers find when they start; no update arrives.
  void setFix(std::optional<CLLocation> fix);
  /// An update arrives at the running managers; nothing: one without a location.
  void update(const std::optional<CLLocation>& location);
  /// Running managers get the standing fix, where there is one; for the moment at which the user
  /// allows location.
  void deliverFix();
  /// Whether a manager is running.
  bool isRunning() const;

 private:
  class Manager;

  std::optional<CLLocation> fix() const;
  void deliver(const std::shared_ptr<Manager>& manager, const std::optional<CLLocation>& location);
  std::vector<std::shared_ptr<Manager>> running() const;

  screen::PermissionGate<LocationAuthorization>& permission_;
  Executor& mainQueue_;
  container::DeviceObserver& observer_;
  mutable std::mutex mutex_;
  std::optional<CLLocation> fix_;
  mutable std::vector<std::weak_ptr<Manager>> managers_;
};

}  // namespace vecamera::device::location
