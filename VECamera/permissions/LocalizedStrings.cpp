#include "VECamera/core/VECameraPlugin.h"

namespace vecamera {

std::string VECameraPlugin::getLocalizingString(std::string_view key) const {
  const auto path = platform_.bundles.mainBundle()->pathForResource("Velmora", "bundle");
  if (!path) return {};
  const auto bundle = platform_.bundles.bundleWithPath(*path);
  return bundle ? bundle->localizedStringForKey(key) : std::string();
}

}  // namespace vecamera
