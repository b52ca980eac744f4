#import "tests/ios/player/PhonePlugin.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#import "ios/Sources/VECameraPlugin+Core.h"
#import "ios/Sources/Value.h"
#import "ios/Sources/include/VECameraPlugin.h"
#import "tests/ios/platform/SoftwareContainer.h"
#import "tests/ios/platform/SoftwareValues.h"
#import "tests/ios/platform/SoftwareViewControllers.h"

namespace vecamera::ios {
namespace {

/// The object where it is one of the class, else nil: a container calls with typed arguments.
template <class T>
T* as(id object) {
  return [object isKindOfClass:[T class]] ? object : nil;
}

class PhonePlugin : public SelectorTarget, public VelmoraPluginProtocol {
 public:
  PhonePlugin() {
    @autoreleasepool {
      plugin_ = [[::VECameraPlugin alloc] init];
    }
    ::VECameraPlugin* const plugin = plugin_;
    onCallback("takePicture:",
               [plugin](id<CallBackManager> callback) { [plugin takePicture:callback]; });
    onCallback("cleanup:", [plugin](id<CallBackManager> callback) { [plugin cleanup:callback]; });
    on("dispose", [plugin](id) -> id { return [plugin dispose], nil; });
    on("webView", [plugin](id) -> id { return plugin.webView; });
    on("viewController", [plugin](id) -> id { return plugin.viewController; });
    on("locationManager", [plugin](id) -> id { return plugin.locationManager; });
    on("usesGeolocation", [plugin](id) -> id { return @(plugin.usesGeolocation); });
    on("urlTransformer:", [plugin](id url) -> id {
      return [plugin urlTransformer:as<NSURL>(url)];
    });
    on("tempFilePath:", [plugin](id text) -> id {
      return [plugin tempFilePath:as<NSString>(text)];
    });
    on("getLocalizingString:", [plugin](id key) -> id {
      return [plugin getLocalizingString:as<NSString>(key)];
    });
    on("retryPermission", [plugin](id) -> id { return [plugin retryPermission], nil; });
    on("imagePickerControllerReturnImageResult",
       [plugin](id) -> id { return [plugin imagePickerControllerReturnImageResult], nil; });
  }
  ~PhonePlugin() override {
    @autoreleasepool {
      operations_.clear();
      plugin_ = nil;
    }
  }

  const Operation* operationForSelector(std::string_view selector) const override {
    const auto found = operations_.find(selector);
    return found == operations_.end() ? nullptr : &found->second;
  }

  std::shared_ptr<UIViewController> viewController() const override {
    @autoreleasepool {
      return valueForDevice(plugin_.viewController).object<UIViewController>();
    }
  }
  void setViewController(std::shared_ptr<UIViewController> viewController) override {
    @autoreleasepool {
      plugin_.viewController = viewControllerFromDevice(std::move(viewController));
    }
  }
  std::shared_ptr<VelmoraWebView> webView() const override {
    @autoreleasepool {
      return valueForDevice(plugin_.webView).object<VelmoraWebView>();
    }
  }
  void setVWebView(std::shared_ptr<VelmoraWebView> webView) override {
    @autoreleasepool {
      [plugin_ setVWebView:webViewFromDevice(std::move(webView))];
    }
  }
  void dispose() override {
    @autoreleasepool {
      [plugin_ dispose];
    }
  }

  /// With the container's own callback in place of the host's.
  VECameraPlugin::Inspection inspect() const {
    @autoreleasepool {
      auto seen = plugin_.core->inspect();
      if (seen.currentCallBack)
        seen.currentCallBack = valueForDevice(vecamera_ios::toObject(Value(seen.currentCallBack)))
                                   .object<CallBackManager>();
      return seen;
    }
  }

 private:
  /// With the argument as an object; nil where the selector has none.
  void on(std::string selector, std::function<id(id)> call) {
    operations_[std::move(selector)] = [call](std::span<const Value> arguments) {
      @autoreleasepool {
        return valueForDevice(call(arguments.empty() ? nil : objectFromDevice(arguments[0])));
      }
    };
  }
  void onCallback(std::string selector, std::function<void(id<CallBackManager>)> call) {
    operations_[std::move(selector)] = [call](std::span<const Value> arguments) {
      @autoreleasepool {
        call(callbackFromDevice(arguments[0].object<CallBackManager>()));
        return Value();
      }
    };
  }

  ::VECameraPlugin* plugin_;
  std::map<std::string, Operation, std::less<>> operations_;
};

}  // namespace

device::container::PluginObject makePhonePlugin() {
  auto plugin = std::make_shared<PhonePlugin>();
  return {plugin, plugin, [plugin = plugin.get()] { return plugin->inspect(); }};
}

}  // namespace vecamera::ios
