#pragma once

#import <UIKit/UIKit.h>

#include <memory>

#include "VECamera/platform/UIKit.h"

/// Pictures of the software device as those of the phone, and back. Any thread.
namespace vecamera::ios {

/// One reference of the caller's, who gives it up with `CGImageRelease`.
CGImageRef makeCGImage(std::shared_ptr<const CGImage> image) CF_RETURNS_RETAINED;
/// Null for null.
std::shared_ptr<const CGImage> deviceImageOf(CGImageRef image);

/// Nil for null. The stand-in keeps the picture.
::UIImage* imageFromDevice(std::shared_ptr<UIImage> image);
/// The device's picture that stands behind the stand-in; null for nil.
std::shared_ptr<UIImage> deviceImageOf(::UIImage* image);

}  // namespace vecamera::ios
