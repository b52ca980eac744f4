#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VECamera/picker/CameraPicker.h"
#include "VECamera/platform/Platform.h"
#include "VECamera/result/ResultContext.h"
#include "VECamera/runtime/SharedSlot.h"

namespace vecamera {

/// Through this an embedding application may take over the handling of refused permissions.
class CameraDelegate {
 public:
  virtual ~CameraDelegate() = default;
  virtual void cameraPermissionDeny() = 0;
  virtual void photoLibraryPermissionDeny() = 0;
};

/// The camera plug-in: one object for each web view. It answers the page commands `takePicture` and
/// `cleanup` through the command's `CallBackManager`. Some sequences of events answer a command
/// again; the container drops every answer but the first. Nothing is thrown to the container.
///
/// Some of what it does looks like a mistake, and pages rely on it: some paths never answer their
/// command, and a photo may be saved twice. A comment that begins with "Settled" marks such a
/// place, which is not to be changed.
///
/// Threads: `takePicture` and `cleanup` may be called on any thread, everything else on the main
/// thread unless it says otherwise. No locks are taken: posting between the executors orders what
/// touches a field (docs/architecture.md says which does), and a field that two commands in
/// flight could reach is replaced whole.
class VECameraPlugin : public SelectorTarget,
                       public VelmoraPluginProtocol,
                       public UIImagePickerControllerDelegate,
                       public UINavigationControllerDelegate,
                       public CLLocationManagerDelegate,
                       public std::enable_shared_from_this<VECameraPlugin> {
 public:
  /// A new plug-in object with every field empty. Does nothing else.
  static std::shared_ptr<VECameraPlugin> create(Platform platform);

  /// Every operation below that the container may call, by its selector.
  const Operation* operationForSelector(std::string_view selector) const override;

  // Page commands.

  /// Takes or picks a picture or a movie. Returns at once; the work runs on the main queue.
  void takePicture(std::shared_ptr<CallBackManager> callback);
  /// Empties the application's temporary directory, on the calling thread, and answers.
  void cleanup(const std::shared_ptr<CallBackManager>& callback);

  // Container binding.

  std::shared_ptr<UIViewController> viewController() const override {
    return viewController_.load();
  }
  void setViewController(std::shared_ptr<UIViewController> given) override {
    viewController_.store(given);
  }
  std::shared_ptr<VelmoraWebView> webView() const override { return webView_.load(); }
  void setVWebView(std::shared_ptr<VelmoraWebView> view) override { webView_.store(view); }
  /// Drops the web view and the view controller and leaves everything else as it is.
  void dispose() override;
  /// The location manager, made on the first read of an empty field. Never starts updates. Any
  /// executor.
  std::shared_ptr<CLLocationManager> locationManager();
  void setLocationManager(std::shared_ptr<CLLocationManager> manager) {
    locationManager_.store(manager);
  }

  // Operations that the container may call.

  /// The process-wide value of the latest `takePicture` arguments.
  bool usesGeolocation() const { return processWideUsesGeolocation(); }
  /// The URL as the command's delegate rewrites it, or the URL itself. On the caller's executor.
  URL urlTransformer(const URL& url) const;
  /// The text of the key in the container's resource bundle; looked up anew on each call.
  std::string getLocalizingString(std::string_view key) const;
  /// Shows the alert for a refused photo library.
  void retryPermission();
  /// A path in the temporary directory at which no file exists; does not return before there is
  /// one. On the caller's executor.
  std::string tempFilePath(std::string_view extension) const;
  /// Answers a photo that was held back for its location, and returns to idle. On the caller's
  /// executor.
  void imagePickerControllerReturnImageResult();

  // Delegates of the platform. Location updates come one at a time, on any thread that the platform
  // chooses; a photo that waits for one is encoded, written and answered inside the call.

  void imagePickerControllerDidFinishPickingMediaWithInfo(
      std::shared_ptr<UIImagePickerController> picker, Dictionary info) override;
  void imagePickerControllerDidCancel(std::shared_ptr<UIImagePickerController> picker) override;
  void locationManagerDidUpdateLocations(const std::shared_ptr<CLLocationManager>& manager,
                                         const std::vector<CLLocation>& locations) override;

  /// The state of the command in flight, for hosts that show or test it.
  struct Inspection {
    bool hasPendingOperation = false;
    std::shared_ptr<CallBackManager> currentCallBack;
    std::shared_ptr<UIImagePickerController> pickerController;
    std::optional<Data> data;
    std::optional<Dictionary> metadata;
    bool hasLocationManager = false;
  };
  Inspection inspect() const;

 private:
  explicit VECameraPlugin(Platform platform);

  // Steps of the operations above.
  void startCapture(const std::shared_ptr<CallBackManager>& callback);
  void startCamera(const std::shared_ptr<PictureOptions>& options);
  void startLibrary(const std::shared_ptr<PictureOptions>& options,
                    const std::shared_ptr<CallBackManager>& callback);
  void showDenyCameraPermission();
  void addCameraVC(const std::shared_ptr<PictureOptions>& options);
  static Task<void> finishPicking(std::weak_ptr<VECameraPlugin> weakSelf,
                                  std::shared_ptr<UIImagePickerController> picker, Dictionary info);
  ResultContext resultContext();
  void resetToIdle();

  const Platform platform_;
  std::map<std::string, Operation, std::less<>> operations_;

  SharedSlot<VelmoraWebView> webView_;
  SharedSlot<UIViewController> viewController_;
  /// Replaced by each command, never cleared.
  SharedSlot<CallBackManager> currentCallBack_;
  /// Settled: written only; nothing in the plug-in reads it.
  std::atomic<bool> hasPendingOperation_{false};
  /// Settled: nothing assigns it; the branches that test it stand for embedding applications.
  std::shared_ptr<CameraDelegate> cameraDelegate_;
  SharedSlot<CameraPicker> pickerController_;
  HeldBackPhoto heldBackPhoto_;
  SharedSlot<CLLocationManager> locationManager_;
};

}  // namespace vecamera
