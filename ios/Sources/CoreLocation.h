#pragma once

#import <CoreLocation/CoreLocation.h>

#include <memory>

#include "VECamera/platform/CoreLocation.h"

namespace vecamera_ios {

/// Managers whose native object is made, used and released on the main thread, because updates come
/// on the run loop of the thread that made it. What a member does on another thread is put off to
/// the main thread, in order; on the main thread it is done at once. The delegate is called on a
/// serial queue in the background, where one photo after the other is finished.
///
/// `native()` on the main thread makes the native object where there is none yet. On another thread
/// it is nil until the main thread has made it.
class LocationServices : public vecamera::CoreLocation {
 public:
  std::shared_ptr<vecamera::CLLocationManager> makeLocationManager() override;
};

/// The manager as the module knows it; null for nil. One native manager has one such object as long
/// as somebody holds it, and that one keeps the native manager, whose delegate stays what it is
/// until `setDelegate`. Any thread.
std::shared_ptr<vecamera::CLLocationManager> locationManagerOf(CLLocationManager* _Nullable native);

/// Brings an update that another delegate of the native manager got (the plug-in's own object,
/// where an application made it the delegate) to the module's `delegate`, as one that came
/// directly: with the manager's current location, on the queue in the background. Without a
/// manager, the update carries none. Main thread.
void deliverUpdate(CLLocationManager* _Nullable native, NSArray<CLLocation*>* _Nonnull locations,
                   std::weak_ptr<vecamera::CLLocationManagerDelegate> delegate);

}  // namespace vecamera_ios
