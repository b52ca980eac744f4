#include "device/location/LocationService.h"

#include <atomic>

namespace vecamera::device::location {

class LocationService::Manager : public CLLocationManager,
                                 public std::enable_shared_from_this<Manager> {
 public:
  explicit Manager(LocationService& service) : service_(service) {}

  void setDesiredAccuracy(double metres) override { accuracy_ = metres; }
  double desiredAccuracy() const override { return accuracy_; }
  void setDelegate(std::weak_ptr<CLLocationManagerDelegate> delegate) override {
    const std::lock_guard lock(service_.mutex_);
    delegate_ = std::move(delegate);
  }
  std::shared_ptr<CLLocationManagerDelegate> delegate() const override {
    const std::lock_guard lock(service_.mutex_);
    return delegate_.lock();
  }
  void requestWhenInUseAuthorizationAfterZeroDelay() override {
    service_.mainQueue_.post([self = shared_from_this()] {
      auto& service = self->service_;
      service.observer_.onLocationManagerCall("requestWhenInUseAuthorization");
      if (service.permission_.status() == LocationAuthorization::notDetermined)
        service.permission_.request([&service](LocationAuthorization) { service.deliverFix(); });
    });
  }
  void startUpdatingLocation() override {
    service_.observer_.onLocationManagerCall("start");
    ++starts_;
    running_ = true;
    if (const auto fix = service_.fix()) service_.deliver(shared_from_this(), fix);
  }
  void stopUpdatingLocation() override {
    service_.observer_.onLocationManagerCall("stop");
    running_ = false;
  }
  std::optional<CLLocation> location() const override {
    const std::lock_guard lock(service_.mutex_);
    return location_;
  }
  void setLocation(const std::optional<CLLocation>& location) {
    const std::lock_guard lock(service_.mutex_);
    location_ = location;
  }
  bool isRunning() const { return running_; }
  /// How often it was started. An update is for the start during which it came.
  int starts() const { return starts_; }

 private:
  LocationService& service_;
  std::atomic<double> accuracy_{0};
  std::atomic<bool> running_{false};
  std::atomic<int> starts_{0};
  // Guarded by the service's mutex.
  std::weak_ptr<CLLocationManagerDelegate> delegate_;
  std::optional<CLLocation> location_;
};

LocationService::LocationService(screen::PermissionGate<LocationAuthorization>& permission,
                                 Executor& mainQueue, container::DeviceObserver& observer)
    : permission_(permission), mainQueue_(mainQueue), observer_(observer) {}

LocationService::~LocationService() = default;

std::shared_ptr<CLLocationManager> LocationService::makeLocationManager() {
  auto manager = std::make_shared<Manager>(*this);
  const std::lock_guard lock(mutex_);
  managers_.push_back(manager);
  return manager;
}

void LocationService::setFix(std::optional<CLLocation> fix) {
  const std::lock_guard lock(mutex_);
  fix_ = fix;
}

std::optional<CLLocation> LocationService::fix() const {
  const std::lock_guard lock(mutex_);
  return fix_;
}

void LocationService::update(const std::optional<CLLocation>& location) {
  for (const auto& manager : running()) deliver(manager, location);
}

void LocationService::deliverFix() {
  if (const auto standing = fix()) update(standing);
}

bool LocationService::isRunning() const {
  return !running().empty();
}

void LocationService::deliver(const std::shared_ptr<Manager>& manager,
                              const std::optional<CLLocation>& location) {
  if (permission_.status() != LocationAuthorization::authorized) return;
  mainQueue_.post([manager, location, starts = manager->starts()] {
    if (!manager->isRunning() || manager->starts() != starts) return;
    manager->setLocation(location);
    const auto delegate = manager->delegate();
    if (!delegate) return;
    delegate->locationManagerDidUpdateLocations(
        manager, location ? std::vector<CLLocation>{*location} : std::vector<CLLocation>{});
  });
}

std::vector<std::shared_ptr<LocationService::Manager>> LocationService::running() const {
  std::vector<std::shared_ptr<Manager>> found;
  const std::lock_guard lock(mutex_);
  std::erase_if(managers_, [](const auto& manager) { return manager.expired(); });
  for (const auto& weak : managers_)
    if (auto manager = weak.lock(); manager && manager->isRunning())
      found.push_back(std::move(manager));
  return found;
}

}  // namespace vecamera::device::location
