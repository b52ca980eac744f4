#pragma once

#include <memory>

#include "VECamera/platform/Platform.h"

/// Stand-ins for the phone's classes, in Objective-C++: each does what the phone's class is
/// documented to do, by means of a software device.
namespace vecamera::ios {

/// The services of the software device behind the stand-ins. Set before the first of them is used.
const Platform& softwarePlatform();
/// Whether there is one. Without it, what GNUstep has of the phone's classes does its own work.
bool hasSoftwarePlatform();
/// Null takes it away. The device outlives its use.
void setSoftwarePlatform(const Platform* platform);

}  // namespace vecamera::ios
