// The location manager: made, started and stopped on the main thread, where its updates come. On a
// phone they come on the run loop of the thread that made it, and nowhere without one.
#import <CoreLocation/CoreLocation.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#import "tests/ios/platform/SoftwarePhone.h"
#import "tests/ios/platform/SoftwareValues.h"

const CLLocationAccuracy kCLLocationAccuracyBest = -1;
const CLLocationAccuracy kCLLocationAccuracyNearestTenMeters = 10;
NSString* const kCLErrorDomain = @"kCLErrorDomain";

CLLocationCoordinate2D CLLocationCoordinate2DMake(CLLocationDegrees latitude,
                                                  CLLocationDegrees longitude) {
  return {latitude, longitude};
}

@implementation CLLocation {
  CLLocationCoordinate2D coordinate_;
  CLLocationDistance altitude_;
  CLLocationAccuracy horizontalAccuracy_;
  CLLocationAccuracy verticalAccuracy_;
  NSDate* timestamp_;
}
@synthesize coordinate = coordinate_;
@synthesize altitude = altitude_;
@synthesize horizontalAccuracy = horizontalAccuracy_;
@synthesize verticalAccuracy = verticalAccuracy_;
@synthesize timestamp = timestamp_;

- (instancetype)initWithLatitude:(CLLocationDegrees)latitude
                       longitude:(CLLocationDegrees)longitude {
  return [self initWithCoordinate:CLLocationCoordinate2DMake(latitude, longitude)
                         altitude:0
               horizontalAccuracy:0
                 verticalAccuracy:-1
                        timestamp:[NSDate date]];
}
- (instancetype)initWithCoordinate:(CLLocationCoordinate2D)coordinate
                          altitude:(CLLocationDistance)altitude
                horizontalAccuracy:(CLLocationAccuracy)horizontalAccuracy
                  verticalAccuracy:(CLLocationAccuracy)verticalAccuracy
                         timestamp:(NSDate*)timestamp {
  if (!(self = [super init])) return nil;
  coordinate_ = coordinate;
  altitude_ = altitude;
  horizontalAccuracy_ = horizontalAccuracy;
  verticalAccuracy_ = verticalAccuracy;
  timestamp_ = [timestamp copy];
  return self;
}
- (id)copyWithZone:(NSZone*)zone {
  return self;
}
- (instancetype)initWithCoder:(NSCoder*)coder {
  return nil;
}
- (void)encodeWithCoder:(NSCoder*)coder {
}
@end

namespace {

void requireMainThread(const char* what) {
  if (NSThread.isMainThread) return;
  std::fprintf(stderr, "a location manager is %s off the main thread\n", what);
  std::abort();
}

CLLocation* locationFromDevice(const vecamera::CLLocation& location) {
  const double seconds =
      std::chrono::duration<double>(location.timestamp.time_since_epoch()).count();
  return [[CLLocation alloc]
      initWithCoordinate:CLLocationCoordinate2DMake(location.coordinate.latitude,
                                                    location.coordinate.longitude)
                altitude:location.altitude
      horizontalAccuracy:10
        verticalAccuracy:10
               timestamp:[NSDate dateWithTimeIntervalSince1970:seconds]];
}

/// What the device's manager calls. Kept by the stand-in, as the device does not.
class UpdateReceiver : public vecamera::CLLocationManagerDelegate {
 public:
  explicit UpdateReceiver(CLLocationManager* manager) : manager_(manager) {}

  void locationManagerDidUpdateLocations(
      const std::shared_ptr<vecamera::CLLocationManager>&,
      const std::vector<vecamera::CLLocation>& locations) override {
    @autoreleasepool {
      CLLocationManager* manager = manager_;
      id<CLLocationManagerDelegate> delegate = manager.delegate;
      if (![delegate respondsToSelector:@selector(locationManager:didUpdateLocations:)]) return;
      NSMutableArray* updates = [NSMutableArray array];
      for (const auto& location : locations) [updates addObject:locationFromDevice(location)];
      [delegate locationManager:manager didUpdateLocations:updates];
    }
  }

 private:
  __weak CLLocationManager* manager_;
};

}  // namespace

@implementation CLLocationManager {
  std::shared_ptr<vecamera::CLLocationManager> device_;
  std::shared_ptr<UpdateReceiver> receiver_;
}
- (instancetype)init {
  requireMainThread("made");
  if (!(self = [super init])) return nil;
  device_ = vecamera::ios::softwarePlatform().coreLocation.makeLocationManager();
  receiver_ = std::make_shared<UpdateReceiver>(self);
  device_->setDesiredAccuracy(kCLLocationAccuracyBest);
  device_->setDelegate(receiver_);
  return self;
}
- (void)dealloc {
  requireMainThread("released");
}
- (CLLocationAccuracy)desiredAccuracy {
  return device_->desiredAccuracy();
}
- (void)setDesiredAccuracy:(CLLocationAccuracy)metres {
  device_->setDesiredAccuracy(metres);
}
- (CLLocation*)location {
  const auto location = device_->location();
  return location ? locationFromDevice(*location) : nil;
}
- (void)requestWhenInUseAuthorization {
  requireMainThread("asked for the permission");
  device_->requestWhenInUseAuthorizationAfterZeroDelay();
}
- (void)startUpdatingLocation {
  requireMainThread("started");
  device_->startUpdatingLocation();
}
- (void)stopUpdatingLocation {
  requireMainThread("stopped");
  device_->stopUpdatingLocation();
}
@end
