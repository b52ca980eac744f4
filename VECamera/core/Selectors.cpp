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

void VECameraPlugin::registerSelectors() {
  using Arguments = std::span<const Value>;
  const auto reads = [this](std::string selector, auto operation) {
    operations_[std::move(selector)] = [this, operation](Arguments) -> Value {
      return operation(*this);
    };
  };
  const auto runs = [this](std::string selector, auto operation) {
    operations_[std::move(selector)] = [this, operation](Arguments arguments) -> Value {
      operation(*this, arguments);
      return {};
    };
  };

  runs("takePicture:", [](VECameraPlugin& self, Arguments arguments) {
    if (auto callback = arguments[0].object<CallBackManager>()) self.takePicture(callback);
  });
  runs("cleanup:", [](VECameraPlugin& self, Arguments arguments) {
    if (auto callback = arguments[0].object<CallBackManager>()) self.cleanup(callback);
  });
  runs("setVWebView:", [](VECameraPlugin& self, Arguments arguments) {
    self.setVWebView(arguments[0].object<VelmoraWebView>());
  });
  runs("dispose", [](VECameraPlugin& self, Arguments) { self.dispose(); });
  reads("webView", [](VECameraPlugin& self) { return Value(self.webView()); });
  runs("setWebView:", [](VECameraPlugin& self, Arguments arguments) {
    self.setWebView(arguments[0].object<VelmoraWebView>());
  });
  reads("viewController", [](VECameraPlugin& self) { return Value(self.viewController()); });
  runs("setViewController:", [](VECameraPlugin& self, Arguments arguments) {
    self.setViewController(arguments[0].object<UIViewController>());
  });
  reads("locationManager", [](VECameraPlugin& self) { return Value(self.locationManager()); });
  runs("setLocationManager:", [](VECameraPlugin& self, Arguments arguments) {
    self.setLocationManager(arguments[0].object<CLLocationManager>());
  });
  reads("usesGeolocation", [](VECameraPlugin& self) { return Value(self.usesGeolocation()); });
  runs("retryPermission", [](VECameraPlugin& self, Arguments) { self.retryPermission(); });
  runs("imagePickerControllerReturnImageResult",
       [](VECameraPlugin& self, Arguments) { self.imagePickerControllerReturnImageResult(); });
  runs("imagePickerController:didFinishPickingMediaWithInfo:",
       [](VECameraPlugin& self, Arguments arguments) {
         const Dictionary* info = arguments[1].dictionary();
         self.imagePickerControllerDidFinishPickingMediaWithInfo(
             arguments[0].object<UIImagePickerController>(), info ? *info : Dictionary());
       });
  runs("imagePickerControllerDidCancel:", [](VECameraPlugin& self, Arguments arguments) {
    self.imagePickerControllerDidCancel(arguments[0].object<UIImagePickerController>());
  });
  runs("locationManager:didUpdateLocations:", [](VECameraPlugin& self, Arguments arguments) {
    self.locationManagerDidUpdateLocations(arguments[0].object<CLLocationManager>(), {});
  });
  operations_["urlTransformer:"] = [this](Arguments arguments) -> Value {
    const URL* url = arguments[0].url();
    return url ? Value(urlTransformer(*url)) : Value();
  };
  operations_["tempFilePath:"] = [this](Arguments arguments) -> Value {
    return tempFilePath(textOf(arguments[0]));
  };
  operations_["getLocalizingString:"] = [this](Arguments arguments) -> Value {
    return getLocalizingString(textOf(arguments[0]));
  };
}

}  // namespace vecamera
