#include <type_traits>

#include "VECamera/core/VECameraPlugin.h"

namespace vecamera {
namespace {

std::string textOf(const Value& value) {
  return value.text() ? *value.text() : std::string();
}

}  // namespace

const SelectorTarget::Operation* VECameraPlugin::operationForSelector(
    std::string_view selector) const {
  const auto found = operations_.find(selector);
  return found == operations_.end() ? nullptr : &found->second;
}

VECameraPlugin::VECameraPlugin(Platform platform) : platform_(platform) {
  using Arguments = std::span<const Value>;
  const auto on = [this](std::string selector, auto operation) {
    operations_[std::move(selector)] = [operation](Arguments arguments) -> Value {
      if constexpr (!std::is_void_v<decltype(operation(arguments))>) return operation(arguments);
      operation(arguments);
      return {};
    };
  };

  on("takePicture:", [this](Arguments a) {
    if (auto callback = a[0].object<CallBackManager>()) takePicture(callback);
  });
  on("cleanup:", [this](Arguments a) {
    if (auto callback = a[0].object<CallBackManager>()) cleanup(callback);
  });
  on("setVWebView:", [this](Arguments a) { setVWebView(a[0].object<VelmoraWebView>()); });
  on("dispose", [this](Arguments) { dispose(); });
  on("webView", [this](Arguments) { return webView(); });
  on("setWebView:", [this](Arguments a) { setVWebView(a[0].object<VelmoraWebView>()); });
  on("viewController", [this](Arguments) { return viewController(); });
  on("setViewController:",
     [this](Arguments a) { setViewController(a[0].object<UIViewController>()); });
  on("locationManager", [this](Arguments) { return locationManager(); });
  on("setLocationManager:",
     [this](Arguments a) { setLocationManager(a[0].object<CLLocationManager>()); });
  on("usesGeolocation", [this](Arguments) { return usesGeolocation(); });
  on("urlTransformer:", [this](Arguments a) {
    const URL* url = a[0].url();
    return url ? Value(urlTransformer(*url)) : Value();
  });
  on("tempFilePath:", [this](Arguments a) { return tempFilePath(textOf(a[0])); });
  on("getLocalizingString:", [this](Arguments a) { return getLocalizingString(textOf(a[0])); });
  on("retryPermission", [this](Arguments) { retryPermission(); });
  on("imagePickerControllerReturnImageResult",
     [this](Arguments) { imagePickerControllerReturnImageResult(); });
  on("imagePickerController:didFinishPickingMediaWithInfo:", [this](Arguments a) {
    const Dictionary* info = a[1].dictionary();
    imagePickerControllerDidFinishPickingMediaWithInfo(a[0].object<UIImagePickerController>(),
                                                       info ? *info : Dictionary());
  });
  on("imagePickerControllerDidCancel:", [this](Arguments a) {
    imagePickerControllerDidCancel(a[0].object<UIImagePickerController>());
  });
  on("locationManager:didUpdateLocations:", [this](Arguments a) {
    locationManagerDidUpdateLocations(a[0].object<CLLocationManager>(), {});
  });
}

}  // namespace vecamera
