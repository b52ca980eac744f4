#include "VECamera/core/VECameraPlugin.h"
#include "VECamera/location/GpsDictionary.h"

namespace vecamera {

void VECameraPlugin::locationManagerDidUpdateLocations(
    const std::shared_ptr<CLLocationManager>& /*manager*/,
    const std::vector<CLLocation>& /*locations*/) {
  const auto manager = locationManager_.load();
  if (!manager) return;
  manager->stopUpdatingLocation();
  locationManager_.store(nullptr);
  auto gps = gpsDictionary(*manager, platform_.dateFormatters, platform_.process);
  if (const auto metadata = metadata_.load()) {
    Dictionary merged = *metadata;
    merged[std::string(kCGImagePropertyGPSDictionary)] = std::move(gps);
    metadata_.store(std::make_shared<const Dictionary>(std::move(merged)));
  }
  imagePickerControllerReturnImageResult();
}

}  // namespace vecamera
