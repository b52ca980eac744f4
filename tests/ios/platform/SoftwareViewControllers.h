#pragma once

#import <UIKit/UIKit.h>

#include <memory>

#include "VECamera/platform/UIKit.h"

/// What the phone shows, on the software device's screen. Main thread.
namespace vecamera::ios {

/// A stand-in on which alerts and pickers are presented as on the device's controller; nil for
/// null. The same one for the same controller, kept as an application's window keeps it.
::UIViewController* viewControllerFromDevice(std::shared_ptr<UIViewController> controller);
/// For the end of the device.
void clearScreen();

}  // namespace vecamera::ios
