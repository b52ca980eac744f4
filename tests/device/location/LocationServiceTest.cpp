#include "device/location/LocationService.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device/screen/ScriptedScreen.h"

namespace vecamera::device::location {
namespace {

class CallRecorder : public container::DeviceObserver {
 public:
  void onLocationManagerCall(std::string_view what) override { calls.emplace_back(what); }
  std::vector<std::string> calls;
};

class Follower : public CLLocationManagerDelegate {
 public:
  void locationManagerDidUpdateLocations(const std::shared_ptr<CLLocationManager>& manager,
                                         const std::vector<CLLocation>& locations) override {
    counts.push_back(locations.size());
    if (const auto fix = manager->location()) latitudes.push_back(fix->coordinate.latitude);
    if (stopsAtOnce) manager->stopUpdatingLocation();
  }
  std::vector<std::size_t> counts;
  std::vector<double> latitudes;
  bool stopsAtOnce = false;
};

CLLocation at(double latitude) {
  return {{latitude, 0}, 0, Date()};
}

class LocationServiceTest : public testing::Test {
 protected:
  std::shared_ptr<CLLocationManager> started() {
    auto manager = service.makeLocationManager();
    manager->setDelegate(follower);
    manager->startUpdatingLocation();
    return manager;
  }

  CallRecorder recorder;
  QueueExecutor main;
  QueueExecutor platform;
  screen::ScriptedScreen screen{recorder};
  screen::PermissionGate<LocationAuthorization> permission{
      container::Permission::location, LocationAuthorization::authorized, screen, platform};
  LocationService service{permission, main, recorder};
  std::shared_ptr<Follower> follower = std::make_shared<Follower>();
};

TEST_F(LocationServiceTest, AFixComesOnTheMainQueueAfterTheStart) {
  service.setFix(at(48));
  const auto manager = started();
  EXPECT_TRUE(follower->counts.empty());
  main.runAll();
  EXPECT_EQ(follower->latitudes, std::vector<double>{48});
  service.update(at(49));
  main.runAll();
  EXPECT_EQ(follower->latitudes, (std::vector<double>{48, 49}));
}

TEST_F(LocationServiceTest, NothingComesToAManagerThatWasStoppedMeanwhile) {
  const auto manager = started();
  service.update(at(48));
  manager->stopUpdatingLocation();
  main.runAll();
  EXPECT_TRUE(follower->counts.empty());
  EXPECT_FALSE(service.isRunning());
}

TEST_F(LocationServiceTest, AnUpdateMayComeWithoutALocation) {
  const auto manager = started();
  service.update(std::nullopt);
  main.runAll();
  EXPECT_EQ(follower->counts, std::vector<std::size_t>{0});
  EXPECT_TRUE(follower->latitudes.empty());
}

TEST_F(LocationServiceTest, WithoutPermissionNothingComesBeforeTheUserAllows) {
  permission.decide(LocationAuthorization::notDetermined);
  service.setFix(at(48));
  const auto manager = started();
  manager->requestWhenInUseAuthorizationAfterZeroDelay();
  EXPECT_EQ(recorder.calls, std::vector<std::string>{"start"})
      << "the request waits for the next pass";
  main.runAll();
  EXPECT_EQ(recorder.calls.back(), "requestWhenInUseAuthorization");
  EXPECT_TRUE(screen.prompts().contains(container::Permission::location));
  EXPECT_TRUE(follower->counts.empty());
  permission.decide(LocationAuthorization::authorized);
  platform.runAll();
  main.runAll();
  EXPECT_EQ(follower->latitudes, std::vector<double>{48});
}

TEST_F(LocationServiceTest, ARefusalSendsNoUpdate) {
  permission.decide(LocationAuthorization::denied);
  const auto manager = started();
  service.update(at(48));
  main.runAll();
  EXPECT_TRUE(follower->counts.empty());
  EXPECT_TRUE(service.isRunning());
}

TEST_F(LocationServiceTest, AManagerMayGoWhileAnUpdateIsOnItsWay) {
  auto manager = started();
  service.update(at(48));
  follower.reset();
  manager.reset();
  main.runAll();
  EXPECT_FALSE(service.isRunning());
}

}  // namespace
}  // namespace vecamera::device::location
