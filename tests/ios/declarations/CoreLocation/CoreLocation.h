// Core Location: the manager, its delegate and the fixes that it delivers.
#pragma once

#import "../Foundation/Foundation.h"

NS_ASSUME_NONNULL_BEGIN

typedef double CLLocationDegrees;
typedef double CLLocationAccuracy;
typedef double CLLocationDistance;
typedef struct CLLocationCoordinate2D {
  CLLocationDegrees latitude;
  CLLocationDegrees longitude;
} CLLocationCoordinate2D;

typedef NS_ENUM(int, CLAuthorizationStatus) {
  kCLAuthorizationStatusNotDetermined = 0,
  kCLAuthorizationStatusRestricted,
  kCLAuthorizationStatusDenied,
  kCLAuthorizationStatusAuthorizedAlways,
  kCLAuthorizationStatusAuthorizedWhenInUse,
};

PLATFORM_EXTERN const CLLocationAccuracy kCLLocationAccuracyBest;
PLATFORM_EXTERN const CLLocationAccuracy kCLLocationAccuracyNearestTenMeters;
PLATFORM_EXTERN NSString* const kCLErrorDomain;
PLATFORM_EXTERN CLLocationCoordinate2D CLLocationCoordinate2DMake(CLLocationDegrees latitude,
                                                                  CLLocationDegrees longitude);

@interface CLLocation : NSObject <NSCopying, NSSecureCoding>
- (instancetype)initWithLatitude:(CLLocationDegrees)latitude longitude:(CLLocationDegrees)longitude;
- (instancetype)initWithCoordinate:(CLLocationCoordinate2D)coordinate
                          altitude:(CLLocationDistance)altitude
                horizontalAccuracy:(CLLocationAccuracy)horizontalAccuracy
                  verticalAccuracy:(CLLocationAccuracy)verticalAccuracy
                         timestamp:(NSDate*)timestamp;
@property(readonly, nonatomic) CLLocationCoordinate2D coordinate;
@property(readonly, nonatomic) CLLocationDistance altitude;
@property(readonly, nonatomic) CLLocationAccuracy horizontalAccuracy;
@property(readonly, nonatomic) CLLocationAccuracy verticalAccuracy;
@property(readonly, nonatomic, copy) NSDate* timestamp;
@end

@class CLLocationManager;
@protocol CLLocationManagerDelegate <NSObject>
@optional
- (void)locationManager:(CLLocationManager*)manager
     didUpdateLocations:(NSArray<CLLocation*>*)locations;
- (void)locationManager:(CLLocationManager*)manager didFailWithError:(NSError*)error;
@end

@interface CLLocationManager : NSObject
@property(nonatomic, readonly) CLAuthorizationStatus authorizationStatus;
@property(weak, nonatomic, nullable) id<CLLocationManagerDelegate> delegate;
@property(assign, nonatomic) CLLocationAccuracy desiredAccuracy;
@property(readonly, nonatomic, copy, nullable) CLLocation* location;
- (void)requestWhenInUseAuthorization;
- (void)startUpdatingLocation;
- (void)stopUpdatingLocation;
@end

NS_ASSUME_NONNULL_END
