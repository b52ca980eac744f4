#pragma once

#import <UIKit/UIKit.h>

#include <functional>
#include <memory>
#include <optional>

#include "VECamera/platform/UIKit.h"

namespace vecamera::ios {

/// Ends the process where the caller is not on the main thread: a phone's behaviour is undefined
/// there.
void requireMainThread(const char* what);

}  // namespace vecamera::ios

/// Between the stand-ins of controllers.
@interface UIViewController (Presenting)
/// What the device's screen shows of the controller; nothing of one that is neither alert nor
/// picker. Made when it is presented.
- (std::optional<vecamera::PresentedViewController>)makeRecord;
/// UIKit takes the presented controller off by itself, and then calls `afterwards`.
- (void)takeOffThen:(std::function<void()>)afterwards;
@end
