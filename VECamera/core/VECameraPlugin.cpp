#include "VECamera/core/VECameraPlugin.h"

namespace vecamera {

const std::string_view pluginSourceFile = __FILE__;

std::shared_ptr<VECameraPlugin> VECameraPlugin::create(Platform platform) {
  return std::shared_ptr<VECameraPlugin>(new VECameraPlugin(platform));
}

VECameraPlugin::VECameraPlugin(Platform platform) : platform_(platform) {
  registerSelectors();
}

std::shared_ptr<UIViewController> VECameraPlugin::viewController() const {
  return viewController_.load();
}

void VECameraPlugin::setViewController(std::shared_ptr<UIViewController> viewController) {
  viewController_.store(std::move(viewController));
}

std::shared_ptr<VelmoraWebView> VECameraPlugin::webView() const {
  return webView_.load();
}

void VECameraPlugin::setWebView(std::shared_ptr<VelmoraWebView> webView) {
  webView_.store(std::move(webView));
}

void VECameraPlugin::setVWebView(std::shared_ptr<VelmoraWebView> webView) {
  webView_.store(std::move(webView));
}

void VECameraPlugin::dispose() {
  webView_.store(nullptr);
  viewController_.store(nullptr);
}

std::shared_ptr<CLLocationManager> VECameraPlugin::locationManager() {
  if (auto manager = locationManager_.load()) return manager;
  auto manager = platform_.coreLocation.makeLocationManager();
  if (!manager) return nullptr;
  manager->setDesiredAccuracy(kCLLocationAccuracyNearestTenMeters);
  manager->setDelegate(weak_from_this());
  return locationManager_.storeIfEmpty(std::move(manager));
}

void VECameraPlugin::setLocationManager(std::shared_ptr<CLLocationManager> manager) {
  locationManager_.store(std::move(manager));
}

bool VECameraPlugin::usesGeolocation() const {
  return processWideUsesGeolocation();
}

VECameraPlugin::Inspection VECameraPlugin::inspect() const {
  Inspection seen;
  seen.hasPendingOperation = hasPendingOperation_;
  seen.currentCallBack = currentCallBack_.load();
  seen.pickerController = pickerController_.load();
  if (const auto data = data_.load()) seen.data = *data;
  if (const auto metadata = metadata_.load()) seen.metadata = *metadata;
  seen.hasLocationManager = locationManager_.load() != nullptr;
  return seen;
}

}  // namespace vecamera
