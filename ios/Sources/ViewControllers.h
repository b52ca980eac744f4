#pragma once

#import <UIKit/UIKit.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "VECamera/platform/UIKit.h"

namespace vecamera_ios {

/// The controller as the module knows it, on which alerts and pickers are presented; null for nil.
/// One native controller has one such object as long as somebody holds it, and that one keeps the
/// controller. Any thread; what it does, on the main thread.
std::shared_ptr<vecamera::UIViewController> viewControllerOf(UIViewController* _Nullable native);
/// The way back; nil for a controller that `viewControllerOf` did not make.
UIViewController* _Nullable nativeViewController(
    const vecamera::UIViewController* _Nullable controller);

/// What UIKit knows of a presented controller, asked live. Does not keep the controller. Main
/// thread.
class PresentedPeer : public vecamera::UIViewControllerPeer {
 public:
  explicit PresentedPeer(UIViewController* _Nonnull native) : native_(native) {}
  std::shared_ptr<vecamera::UIViewController> presenter() override;
  void onStatusBarAppearanceChanged() override;

 private:
  __weak UIViewController* _Nullable native_;
};

/// From here on the presented controller has no presenter, although UIKit still names one while the
/// animation lasts. Main thread.
void dismissalStarted(UIViewController* _Nonnull presented);
/// The controller may be presented again: its presenter is the one that UIKit names. Main thread.
void dismissalEnded(UIViewController* _Nonnull presented);

/// The native alert of a record, with its peer set. Its buttons keep the record. Main thread.
UIAlertController* _Nonnull makeAlert(const std::shared_ptr<vecamera::UIAlertController>& record);

/// The shared application. Main thread.
class Application : public vecamera::UIApplication {
 public:
  std::optional<vecamera::URL> openSettingsURL() override;
  void openURL(const vecamera::URL& url) override;
};

class ImagePickers : public vecamera::UIImagePickerControllerClass {
 public:
  /// Also takes note of the source's media types, for `availableMediaTypesForSourceType`.
  bool isSourceTypeAvailable(std::int64_t sourceType) override;
  /// What UIKit said when the source's availability was asked last; nothing before that, and of a
  /// source that was not available.
  std::optional<std::vector<std::string>> availableMediaTypesForSourceType(
      std::int64_t sourceType) override;

 private:
  std::mutex mutex_;
  std::map<std::int64_t, std::optional<std::vector<std::string>>> mediaTypes_;
};

}  // namespace vecamera_ios
