#pragma once

#import "ios/Sources/include/VECameraPlugin.h"

#include <memory>

#include "VECamera/core/VECameraPlugin.h"

@interface VECameraPlugin ()
/// The module's object behind this one; never null.
@property(nonatomic, readonly) std::shared_ptr<vecamera::VECameraPlugin> core;
@end
