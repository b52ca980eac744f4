#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "VECamera/platform/UIKit.h"
#include "VECamera/runtime/Executor.h"

namespace host {

namespace vc = vecamera;

/// Called on the main queue, after something has appeared on screen.
using OnShown = std::function<void(const vc::PresentedViewController&)>;

/// The controller on which the plug-in presents. It shows one thing at a time and is the peer of
/// what it shows. Used on the main thread.
class RootViewController : public vc::UIViewController,
                           public vc::UIViewControllerPeer,
                           public std::enable_shared_from_this<RootViewController> {
 public:
  /// The main queue outlives the controller.
  RootViewController(vc::Executor& mainQueue, OnShown onShown)
      : mainQueue_(mainQueue), onShown_(std::move(onShown)) {}

  void presentViewController(vc::PresentedViewController presented, bool animated,
                             Completion completion) override {
    if (presented_) return;  // refused: without a presenter and without a completion
    presented_ = presented;
    const auto controller = vc::viewControllerOf(presented);
    // The two hold each other until the dismissal, which keeps the presenter alive.
    controller->setPeer(shared_from_this());
    controller->viewWillAppear(animated);
    if (completion) mainQueue_.post(std::move(completion));
    mainQueue_.post([onShown = onShown_, presented] { onShown(presented); });
  }
  void dismissViewControllerAnimated(bool /*animated*/, Completion completion) override {
    if (!presented_) return;
    const auto keep = shared_from_this();
    clear();
    if (completion) mainQueue_.post(std::move(completion));
  }
  /// Takes off what is shown, without a completion. Called at the end of the host, because the two
  /// hold each other.
  void clear() {
    if (const auto shown = std::exchange(presented_, std::nullopt))
      vc::viewControllerOf(*shown)->setPeer(nullptr);
  }

  // As the peer of what it shows, from the presentation to the start of the dismissal.
  std::shared_ptr<vc::UIViewController> presenter() override { return shared_from_this(); }
  void onStatusBarAppearanceChanged() override {}

 private:
  vc::Executor& mainQueue_;
  const OnShown onShown_;
  std::optional<vc::PresentedViewController> presented_;
};

/// There is a camera and nothing else to take a picture from.
class PickerClass : public vc::UIImagePickerControllerClass {
 public:
  bool isSourceTypeAvailable(std::int64_t sourceType) override {
    return sourceType == vc::UIImagePickerControllerSourceType::camera;
  }
  std::optional<std::vector<std::string>> availableMediaTypesForSourceType(
      std::int64_t sourceType) override {
    if (!isSourceTypeAvailable(sourceType)) return std::nullopt;
    return std::vector<std::string>{std::string(vc::kUTTypeImage)};
  }
};

/// Without settings to open.
class Application : public vc::UIApplication {
 public:
  std::optional<vc::URL> openSettingsURL() override { return std::nullopt; }
  void openURL(const vc::URL& /*url*/) override {}
};

}  // namespace host
