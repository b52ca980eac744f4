#include "VECamera/permissions/DeniedPermissionAlert.h"

namespace vecamera {

std::string localizedString(NSBundles& bundles, std::string_view key) {
  const auto path = bundles.mainBundle()->pathForResource("Velmora", "bundle");
  if (!path) return {};
  const auto bundle = bundles.bundleWithPath(*path);
  return bundle ? bundle->localizedStringForKey(key) : std::string();
}

std::shared_ptr<UIAlertController> deniedPermissionAlert(const Platform& platform,
                                                         std::string_view messageKey,
                                                         std::function<void()> onSettingsOpened,
                                                         std::function<void()> onCancel) {
  const auto message = localizedString(platform.bundles, messageKey);
  const auto settings = localizedString(platform.bundles, "SETTINGS");
  const auto cancel = localizedString(platform.bundles, "CANCEL");
  auto alert = std::make_shared<UIAlertController>("", message, UIAlertControllerStyle::alert);
  alert->addAction({settings, UIAlertActionStyle::defaultStyle,
                    [&application = platform.application,
                     onSettingsOpened = std::move(onSettingsOpened)](const auto& shown) {
                      shown->dismissViewControllerAnimated(true, nullptr);
                      const auto url = application.openSettingsURL();
                      if (!url) return;
                      application.openURL(*url);
                      onSettingsOpened();
                    }});
  alert->addAction({cancel, UIAlertActionStyle::defaultStyle,
                    [onCancel = std::move(onCancel)](const auto& shown) {
                      shown->dismissViewControllerAnimated(true, nullptr);
                      onCancel();
                    }});
  return alert;
}

}  // namespace vecamera
