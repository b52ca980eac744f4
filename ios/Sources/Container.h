#pragma once

#import <UIKit/UIKit.h>

#include <memory>
#include <string_view>

#include "VECamera/platform/Container.h"
#import "ios/Sources/include/VECameraContainer.h"

/// The container as the module sees it. What it raises is logged and goes no further.
namespace vecamera_ios {

/// The container's class `VELog`, which is looked up by its name so that no container need be
/// linked; the system's log where there is no such class or method.
class Log : public vecamera::VELog {
 public:
  void debug(std::string_view msg) override;
  void error(std::string_view tag, std::string_view msg, std::string_view filename, int line,
             std::string_view funcName) override;
};

/// A wrapper that keeps the native object, the container's `CallBackManager`. Null for nil.
std::shared_ptr<vecamera::CallBackManager> callBackManagerOf(id _Nullable native);

/// A wrapper that keeps the view, and releases it on the main thread. Null for nil.
std::shared_ptr<vecamera::VelmoraWebView> webViewOf(UIView* _Nullable native);

}  // namespace vecamera_ios
