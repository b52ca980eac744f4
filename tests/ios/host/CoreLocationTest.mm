#import "ios/Sources/CoreLocation.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ios/Sources/Value.h"
#include "tests/ios/host/ServicesPhone.h"

@interface AppsDelegate : NSObject <CLLocationManagerDelegate>
@property(nonatomic) int updates;
@end
@implementation AppsDelegate
- (void)locationManager:(CLLocationManager*)manager
     didUpdateLocations:(NSArray<CLLocation*>*)locations {
  ++self.updates;
}
@end

namespace vecamera_ios {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Managers of the device that record the calls and update when the test says so.
class ScriptedLocation : public vecamera::CoreLocation {
 public:
  class Manager : public vecamera::CLLocationManager, public std::enable_shared_from_this<Manager> {
   public:
    explicit Manager(vecamera::Lines& calls) : calls_(calls) {}
    void setDesiredAccuracy(double metres) override {
      calls_.add("accuracy " + vecamera::describe(accuracy_ = metres));
    }
    double desiredAccuracy() const override { return accuracy_; }
    void setDelegate(std::weak_ptr<vecamera::CLLocationManagerDelegate> delegate) override {
      delegate_ = delegate;
    }
    std::shared_ptr<vecamera::CLLocationManagerDelegate> delegate() const override {
      return delegate_.lock();
    }
    void requestWhenInUseAuthorizationAfterZeroDelay() override { calls_.add("request"); }
    void startUpdatingLocation() override { calls_.add("start"); }
    void stopUpdatingLocation() override { calls_.add("stop"); }
    std::optional<vecamera::CLLocation> location() const override { return fix_; }
    void update(std::optional<vecamera::CLLocation> fix) {
      fix_ = fix;
      const auto delegate = delegate_.lock();
      if (!delegate) return;
      delegate->locationManagerDidUpdateLocations(
          shared_from_this(), fix ? std::vector{*fix} : std::vector<vecamera::CLLocation>());
    }

   private:
    vecamera::Lines& calls_;
    double accuracy_ = 0;
    std::weak_ptr<vecamera::CLLocationManagerDelegate> delegate_;
    std::optional<vecamera::CLLocation> fix_;
  };

  std::shared_ptr<vecamera::CLLocationManager> makeLocationManager() override {
    auto made = std::make_shared<Manager>(calls);
    managers.push_back(made);
    return made;
  }
  vecamera::Lines calls;
  std::vector<std::weak_ptr<Manager>> managers;
};

std::optional<vecamera::CLLocation> fixAt(double latitude) {
  return vecamera::CLLocation{{latitude, 2.5}, 12, vecamera::deviceAfternoon()};
}

/// The module's delegate: reads the manager's fix, as the plug-in does.
class Receiver : public vecamera::CLLocationManagerDelegate {
 public:
  void locationManagerDidUpdateLocations(
      const std::shared_ptr<vecamera::CLLocationManager>& manager,
      const std::vector<vecamera::CLLocation>& locations) override {
    const auto fix = manager ? manager->location() : std::nullopt;
    if (fix) last = *fix;
    updates.push_back((NSThread.isMainThread ? "main " : "background ") +
                      (fix ? vecamera::describe(fix->coordinate.latitude) : "none") + " of " +
                      std::to_string(locations.size()));
    if (onUpdate) onUpdate();
  }
  std::vector<std::string> updates;
  vecamera::CLLocation last;
  std::function<void()> onUpdate;
};

class CoreLocationTest : public testing::Test {
 protected:
  ScriptedLocation::Manager& device(std::size_t index = 0) {
    return *location.managers.at(index).lock();
  }
  /// Nil where there is none yet.
  ::CLLocationManager* nativeOf(const std::shared_ptr<vecamera::CLLocationManager>& manager) {
    return std::dynamic_pointer_cast<NativeReference>(manager)->native();
  }

  ScriptedLocation location;
  ServicesPhone phone{{.coreLocation = &location}};
  LocationServices services;
  std::shared_ptr<Receiver> receiver = std::make_shared<Receiver>();
};

TEST_F(CoreLocationTest, WhatTheBackgroundAsksForIsDoneOnMainInItsOrder) {
  std::shared_ptr<vecamera::CLLocationManager> manager;
  phone.inBackground([&] {
    manager = services.makeLocationManager();
    manager->setDesiredAccuracy(10);
    manager->setDelegate(receiver);
    manager->requestWhenInUseAuthorizationAfterZeroDelay();
    manager->startUpdatingLocation();
    EXPECT_EQ(manager->desiredAccuracy(), 10);
    EXPECT_EQ(manager->delegate(), receiver);
    EXPECT_EQ(manager->location(), std::nullopt);
    EXPECT_EQ(nativeOf(manager), nil);
  });
  EXPECT_THAT(location.calls.all(), IsEmpty());
  phone.runMain();
  EXPECT_THAT(location.calls.all(), ElementsAre("accuracy -1", "accuracy 10", "start", "request"));

  // The last thing asked for is done also when the manager has gone.
  phone.inBackground([&] {
    manager->stopUpdatingLocation();
    manager = nullptr;
  });
  phone.runMain();
  EXPECT_EQ(location.calls.all().back(), "stop");
  EXPECT_EQ(vecamera::ios::livingObjects("CLLocationManager"), 0u);
}

TEST_F(CoreLocationTest, OnMainTheNativeManagerIsThereAtOnceWithWhatWasAskedFor) {
  std::shared_ptr<vecamera::CLLocationManager> manager;
  phone.inBackground([&] {
    manager = services.makeLocationManager();
    manager->setDesiredAccuracy(10);
  });
  @autoreleasepool {
    ::CLLocationManager* native = nativeOf(manager);
    EXPECT_EQ(native.desiredAccuracy, 10);
    native.desiredAccuracy = 100;  // the application's wish comes later
    phone.runMain();
    EXPECT_EQ(native.desiredAccuracy, 100);
    EXPECT_EQ(nativeOf(manager), native);
    EXPECT_EQ(locationManagerOf(native), manager);
    manager->startUpdatingLocation();
    EXPECT_EQ(location.calls.all().back(), "start");
    manager->requestWhenInUseAuthorizationAfterZeroDelay();
    EXPECT_EQ(location.calls.all().back(), "start") << "on the next pass";
    phone.runMain();
    EXPECT_EQ(location.calls.all().back(), "request");
  }
}

TEST_F(CoreLocationTest, UpdatesComeInTheBackgroundEachWithItsOwnFix) {
  const auto manager = services.makeLocationManager();
  manager->setDelegate(receiver);
  manager->startUpdatingLocation();
  for (const auto& fix : {fixAt(-33.5), fixAt(48), std::optional<vecamera::CLLocation>()})
    device().update(fix);
  EXPECT_THAT(receiver->updates, IsEmpty()) << "nothing of it on the main thread";
  phone.runBackground();
  EXPECT_THAT(receiver->updates,
              ElementsAre("background -33.5 of 1", "background 48 of 1", "background none of 0"));
  EXPECT_EQ(receiver->last.coordinate.longitude, 2.5);
  EXPECT_EQ(receiver->last.altitude, 12);
  EXPECT_EQ(receiver->last.timestamp, vecamera::deviceAfternoon());
}

TEST_F(CoreLocationTest, AStopInsideTheDelegatesCallDropsWhatWaitsAndTheManagerMayGo) {
  auto manager = services.makeLocationManager();
  manager->setDelegate(receiver);
  manager->startUpdatingLocation();
  receiver->onUpdate = [&] {
    if (const auto stopped = std::exchange(manager, nullptr)) stopped->stopUpdatingLocation();
  };
  device().update(fixAt(1));
  device().update(fixAt(2));
  phone.runBackground();
  EXPECT_THAT(receiver->updates, ElementsAre("background 1 of 1"));
  receiver->onUpdate = nullptr;
  phone.settle();
  EXPECT_EQ(vecamera::ios::livingObjectsByClass("CLLocationManager").size(), 0u);
  EXPECT_EQ(vecamera::ios::livingObjectsByClass("VECameraLocation").size(), 0u);
  EXPECT_EQ(location.calls.all().back(), "stop");
}

TEST_F(CoreLocationTest, DelegateIsHeldWeaklyAndLookedUpWhenItsTurnComes) {
  const auto manager = services.makeLocationManager();
  manager->setDelegate(receiver);
  device().update(fixAt(1));
  receiver = nullptr;
  phone.runBackground();
  EXPECT_EQ(manager->delegate(), nullptr);

  const auto other = std::make_shared<Receiver>();
  manager->setDelegate(other);
  device().update(fixAt(2));
  manager->setDelegate({});
  device().update(fixAt(3));
  phone.runBackground();
  EXPECT_THAT(other->updates, IsEmpty());
}

TEST_F(CoreLocationTest, GivenManagerKeepsItsOwnDelegateUntilTheModuleSetsOne) {
  @autoreleasepool {
    AppsDelegate* apps = [[AppsDelegate alloc] init];
    ::CLLocationManager* native = [[::CLLocationManager alloc] init];
    native.delegate = apps;
    native.desiredAccuracy = 5;
    const auto manager = locationManagerOf(native);
    EXPECT_EQ(manager->desiredAccuracy(), 5);
    EXPECT_EQ(nativeOf(manager), native);
    phone.inBackground([&] { EXPECT_EQ(locationManagerOf(native), manager); });
    device().update(fixAt(1));
    phone.settle();
    EXPECT_EQ(apps.updates, 1);
    EXPECT_EQ(manager->location()->coordinate.latitude, 1) << "as the native one says";
    manager->setDelegate(receiver);
    device().update(fixAt(2));
    phone.settle();
    EXPECT_EQ(apps.updates, 1);
    EXPECT_THAT(receiver->updates, ElementsAre("background 2 of 1"));
  }
  EXPECT_EQ(locationManagerOf(nil), nullptr);
}

TEST_F(CoreLocationTest, UpdateOfAnotherDelegateReachesTheModuleLikeItsOwn) {
  @autoreleasepool {
    ::CLLocationManager* native = [[::CLLocationManager alloc] init];
    device().update(fixAt(7));
    deliverUpdate(native, @[], receiver);
    device().update(fixAt(8));
    deliverUpdate(nil, @[], receiver);
    ::CLLocation* first = [[::CLLocation alloc] initWithLatitude:3 longitude:0];
    ::CLLocation* second = [[::CLLocation alloc] initWithLatitude:4 longitude:0];
    ::CLLocationManager* unaware = [[::CLLocationManager alloc] init];
    deliverUpdate(unaware, @[ first, second ], receiver);
    deliverUpdate(unaware, @[], receiver);
    EXPECT_THAT(receiver->updates, IsEmpty());
    phone.runBackground();
  }
  EXPECT_THAT(receiver->updates, ElementsAre("background 7 of 0", "background none of 0",
                                             "background 4 of 2", "background none of 0"));
}

}  // namespace
}  // namespace vecamera_ios
