#include "VECamera/core/VECameraPlugin.h"

#include "VECamera/permissions/DeniedPermissionAlert.h"

namespace vecamera {

const std::string_view pluginSourceFile = __FILE__;

std::shared_ptr<VECameraPlugin> VECameraPlugin::create(Platform platform) {
  return std::shared_ptr<VECameraPlugin>(new VECameraPlugin(platform));
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

URL VECameraPlugin::urlTransformer(const URL& url) const {
  const std::string& text = url.absoluteString();
  const URL working = text.starts_with("file") ? url : platform_.urls.fileURLWithPath(text);
  const auto callback = currentCallBack_.load();
  const auto delegate = callback ? callback->commandDelegate() : nullptr;
  const URLTransformer transform = delegate ? delegate->urlTransformer() : nullptr;
  if (!transform) return url;
  // Settled: the file URL only shapes what the host's function gets; where that gives nothing, the
  // caller gets its own URL back.
  return transform(working).value_or(url);
}

std::string VECameraPlugin::getLocalizingString(std::string_view key) const {
  return localizedString(platform_.bundles, key);
}

VECameraPlugin::Inspection VECameraPlugin::inspect() const {
  Inspection seen;
  seen.hasPendingOperation = hasPendingOperation_;
  seen.currentCallBack = currentCallBack_.load();
  seen.pickerController = pickerController_.load();
  if (const auto data = heldBackPhoto_.data.load()) seen.data = *data;
  if (const auto metadata = heldBackPhoto_.metadata.load()) seen.metadata = *metadata;
  seen.hasLocationManager = locationManager_.load() != nullptr;
  return seen;
}

}  // namespace vecamera
