#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "VECamera/platform/Platform.h"

namespace vecamera {

/// The text of the key in the container's resource bundle; looked up anew on each call. The key
/// itself where the bundle lacks it, an empty text without a bundle.
std::string localizedString(NSBundles& bundles, std::string_view key);

/// An alert, not presented yet, that explains a refused permission with the text of the key. Its
/// first action dismisses it, opens the settings and calls `onSettingsOpened`, its second dismisses
/// it and calls `onCancel`, both on the main thread. `onSettingsOpened` is not called where there
/// is no URL of the settings.
std::shared_ptr<UIAlertController> deniedPermissionAlert(const Platform& platform,
                                                         std::string_view messageKey,
                                                         std::function<void()> onSettingsOpened,
                                                         std::function<void()> onCancel);

}  // namespace vecamera
