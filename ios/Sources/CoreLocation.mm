#import "ios/Sources/CoreLocation.h"

#import <objc/runtime.h>

#include <deque>
#include <functional>
#include <mutex>
#include <utility>

#include "ios/Sources/DispatchQueueExecutor.h"
#include "ios/Sources/MainThreadReference.h"
#include "ios/Sources/Value.h"

namespace vecamera_ios {
class LocationManager;
}

/// The delegate of a native manager, which holds it weakly: it lives as long as its owner.
@interface VECameraLocationDelegate : NSObject <CLLocationManagerDelegate>
- (instancetype)initWithOwner:(std::weak_ptr<vecamera_ios::LocationManager>)owner;
@end

/// What leads from a native manager to its owner.
@interface VECameraLocationOwner : NSObject {
 @public
  std::weak_ptr<vecamera_ios::LocationManager> owner;
}
@end
@implementation VECameraLocationOwner
@end

namespace vecamera_ios {
namespace {

using Delegate = vecamera::CLLocationManagerDelegate;

/// Updates are handed out one at a time, whichever manager they are from: a plug-in gets a new one
/// for each photo.
vecamera::Executor& updates() {
  static auto* executor =
      new DispatchQueueExecutor(dispatch_queue_create("VECamera.location", DISPATCH_QUEUE_SERIAL));
  return *executor;
}

/// Guards what leads from native managers to their owners.
std::mutex& ownersMutex() {
  static std::mutex mutex;
  return mutex;
}
const char ownerKey = 0;

/// The native manager's owner, made where there is none.
std::shared_ptr<LocationManager> ownerOf(CLLocationManager* native);
/// With the mutex locked.
void tieToOwner(CLLocationManager* native, std::weak_ptr<LocationManager> owner) {
  VECameraLocationOwner* reference = [[VECameraLocationOwner alloc] init];
  reference->owner = std::move(owner);
  objc_setAssociatedObject(native, &ownerKey, reference, OBJC_ASSOCIATION_RETAIN);
}

std::optional<vecamera::CLLocation> fixOf(CLLocation* location) {
  if (!location) return std::nullopt;
  return vecamera::CLLocation{{location.coordinate.latitude, location.coordinate.longitude},
                              location.altitude,
                              toDate(location.timestamp)};
}

/// The native object, and the steps that wait for the main thread. A step is done also when the
/// manager has gone meanwhile: the last one usually stops it.
class NativeManager : public std::enable_shared_from_this<NativeManager> {
 public:
  using Step = std::function<void(CLLocationManager*)>;

  /// Takes over a manager that there is. Before anybody else knows this object.
  void adopt(CLLocationManager* native) { native_.emplace(native); }
  void setOwner(std::weak_ptr<LocationManager> owner) { owner_ = std::move(owner); }

  /// Nil where it has not been made yet. Any thread.
  CLLocationManager* current() const {
    const std::lock_guard lock(mutex_);
    return native_ ? native_->get() : nil;
  }
  /// Main thread, with the steps that have waited.
  CLLocationManager* make() {
    CLLocationManager* native = current();
    if (!native) {
      native = [[CLLocationManager alloc] init];
      {
        const std::lock_guard lock(ownersMutex());
        tieToOwner(native, owner_);
      }
      const std::lock_guard lock(mutex_);
      native_.emplace(native);
    }
    while (const Step step = nextStep()) step(native);
    return native;
  }
  /// Any thread.
  void perform(Step step) {
    {
      const std::lock_guard lock(mutex_);
      steps_.push_back(std::move(step));
    }
    @autoreleasepool {
      if (NSThread.isMainThread) {
        make();
        return;
      }
      const auto self = shared_from_this();
      dispatch_async(dispatch_get_main_queue(), ^{
        @autoreleasepool {
          self->make();
        }
      });
    }
  }

 private:
  /// Empty where no step waits.
  Step nextStep() {
    const std::lock_guard lock(mutex_);
    if (steps_.empty()) return nullptr;
    Step step = std::move(steps_.front());
    steps_.pop_front();
    return step;
  }

  std::weak_ptr<LocationManager> owner_;
  mutable std::mutex mutex_;
  // Guarded by the mutex.
  std::optional<MainThreadReference<CLLocationManager*>> native_;
  std::deque<Step> steps_;
};

}  // namespace

class LocationManager final : public vecamera::CLLocationManager,
                              public NativeReference,
                              public std::enable_shared_from_this<LocationManager> {
 public:
  using FindDelegate = std::function<std::shared_ptr<Delegate>()>;

  /// For a native manager, or one that is to be made.
  static std::shared_ptr<LocationManager> create(::CLLocationManager* native) {
    auto manager = std::make_shared<LocationManager>();
    manager->native_->setOwner(manager);
    if (native) {
      manager->native_->adopt(native);
      manager->accuracy_ = native.desiredAccuracy;
    }
    return manager;
  }

  id native() const override {
    @autoreleasepool {
      return NSThread.isMainThread ? native_->make() : native_->current();
    }
  }
  void setDesiredAccuracy(double metres) override {
    {
      const std::lock_guard lock(mutex_);
      accuracy_ = metres;
    }
    native_->perform([metres](::CLLocationManager* native) { native.desiredAccuracy = metres; });
  }
  double desiredAccuracy() const override {
    const std::lock_guard lock(mutex_);
    return accuracy_;
  }
  void setDelegate(std::weak_ptr<Delegate> delegate) override {
    VECameraLocationDelegate* nativeDelegate = nil;
    {
      const std::lock_guard lock(mutex_);
      if (!nativeDelegate_)
        nativeDelegate_ = [[VECameraLocationDelegate alloc] initWithOwner:weak_from_this()];
      if (!delegate.expired()) nativeDelegate = nativeDelegate_;
      delegate_ = std::move(delegate);
    }
    native_->perform(
        [nativeDelegate](::CLLocationManager* native) { native.delegate = nativeDelegate; });
  }
  std::shared_ptr<Delegate> delegate() const override {
    const std::lock_guard lock(mutex_);
    return delegate_.lock();
  }
  void requestWhenInUseAuthorizationAfterZeroDelay() override {
    native_->perform([](::CLLocationManager* native) {
      dispatch_async(dispatch_get_main_queue(), ^{
        @autoreleasepool {
          [native requestWhenInUseAuthorization];
        }
      });
    });
  }
  void startUpdatingLocation() override {
    setStopped(false);
    native_->perform([](::CLLocationManager* native) { [native startUpdatingLocation]; });
  }
  void stopUpdatingLocation() override {
    setStopped(true);
    native_->perform([](::CLLocationManager* native) { [native stopUpdatingLocation]; });
  }
  /// Before the delegate was ever called, what the native manager says.
  std::optional<vecamera::CLLocation> location() const override {
    {
      const std::lock_guard lock(mutex_);
      if (wasCalled_) return fix_;
    }
    @autoreleasepool {
      return fixOf(native_->current().location);
    }
  }

  /// The delegate, unless the updates have been stopped meanwhile: one may wait in the queue then.
  std::shared_ptr<Delegate> delegateOfRunning() const {
    const std::lock_guard lock(mutex_);
    return isStopped_ ? nullptr : delegate_.lock();
  }

  /// Main thread. The delegate is looked up when its turn has come.
  void handOut(::CLLocationManager* native, NSArray<::CLLocation*>* locations,
               FindDelegate findDelegate) {
    std::vector<vecamera::CLLocation> fixes;
    for (::CLLocation* location in locations) fixes.push_back(*fixOf(location));
    // The manager itself may still have an older fix, or none.
    updates().post([self = shared_from_this(), fix = fixOf(locations.lastObject ?: native.location),
                    fixes = std::move(fixes), findDelegate = std::move(findDelegate)] {
      {
        const std::lock_guard lock(self->mutex_);
        self->fix_ = fix;
        self->wasCalled_ = true;
      }
      if (const auto delegate = findDelegate())
        delegate->locationManagerDidUpdateLocations(self, fixes);
    });
  }

 private:
  void setStopped(bool isStopped) {
    const std::lock_guard lock(mutex_);
    isStopped_ = isStopped;
  }

  const std::shared_ptr<NativeManager> native_ = std::make_shared<NativeManager>();
  mutable std::mutex mutex_;
  // Guarded by the mutex.
  double accuracy_ = kCLLocationAccuracyBest;
  VECameraLocationDelegate* nativeDelegate_;
  std::weak_ptr<Delegate> delegate_;
  bool isStopped_ = false;
  std::optional<vecamera::CLLocation> fix_;
  bool wasCalled_ = false;
};

std::shared_ptr<vecamera::CLLocationManager> LocationServices::makeLocationManager() {
  return LocationManager::create(nil);
}

std::shared_ptr<vecamera::CLLocationManager> locationManagerOf(CLLocationManager* native) {
  return native ? ownerOf(native) : nullptr;
}

void deliverUpdate(CLLocationManager* native, NSArray<CLLocation*>* locations,
                   std::weak_ptr<Delegate> delegate) {
  const auto findDelegate = [delegate] { return delegate.lock(); };
  if (native) {
    ownerOf(native)->handOut(native, locations, findDelegate);
    return;
  }
  updates().post([findDelegate] {
    if (const auto found = findDelegate()) found->locationManagerDidUpdateLocations(nullptr, {});
  });
}

namespace {

std::shared_ptr<LocationManager> ownerOf(CLLocationManager* native) {
  @autoreleasepool {
    const std::lock_guard lock(ownersMutex());
    VECameraLocationOwner* reference = objc_getAssociatedObject(native, &ownerKey);
    auto owner = reference ? reference->owner.lock() : nullptr;
    if (!owner) {
      owner = LocationManager::create(native);
      tieToOwner(native, owner);
    }
    return owner;
  }
}

}  // namespace
}  // namespace vecamera_ios

@implementation VECameraLocationDelegate {
  std::weak_ptr<vecamera_ios::LocationManager> owner_;
}

- (instancetype)initWithOwner:(std::weak_ptr<vecamera_ios::LocationManager>)owner {
  if ((self = [super init])) owner_ = std::move(owner);
  return self;
}

- (void)locationManager:(CLLocationManager*)manager
     didUpdateLocations:(NSArray<CLLocation*>*)locations {
  const auto owner = owner_.lock();
  if (owner) owner->handOut(manager, locations, [owner] { return owner->delegateOfRunning(); });
}

@end
