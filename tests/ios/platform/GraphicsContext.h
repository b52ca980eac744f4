#pragma once

#import <CoreGraphics/CoreGraphics.h>

#include <memory>

#include "VECamera/platform/CoreGraphics.h"

namespace vecamera::ios {

/// A context that draws on the device's, which the caller keeps alive. One reference of the
/// caller's, who gives it up with `CGContextRelease`.
CGContextRef makeContext(CGContext& context) CF_RETURNS_RETAINED;

}  // namespace vecamera::ios
