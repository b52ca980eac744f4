#pragma once

#import <Foundation/Foundation.h>

#include <memory>

#include "VECamera/platform/Container.h"
#import "ios/Sources/include/VECameraContainer.h"

/// The container's own objects, for what the software device's container hands out.
namespace vecamera::ios {

/// A stand-in that keeps the callback. Nil for null.
id<CallBackManager> callbackFromDevice(std::shared_ptr<vecamera::CallBackManager> callback);
/// A view that keeps the device's. Nil for null.
::UIView* webViewFromDevice(std::shared_ptr<vecamera::VelmoraWebView> webView);

}  // namespace vecamera::ios
