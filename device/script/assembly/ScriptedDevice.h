#pragma once

#include <memory>
#include <string>

#include "VECamera/runtime/Executor.h"
#include "device/camera/StillCamera.h"
#include "device/container/SoftwareContainer.h"
#include "device/foundation/Base64.h"
#include "device/foundation/Bundles.h"
#include "device/foundation/Clocks.h"
#include "device/foundation/Dates.h"
#include "device/foundation/Urls.h"
#include "device/foundation/files/ApplicationHome.h"
#include "device/foundation/files/FileManager.h"
#include "device/imaging/base/ThreadBudget.h"
#include "device/imaging/platform/Graphics.h"
#include "device/imaging/platform/ImageFactory.h"
#include "device/imaging/platform/SoftwareImageIO.h"
#include "device/location/LocationService.h"
#include "device/media/ExportSessions.h"
#include "device/photos/LibraryStore.h"
#include "device/photos/PhotoLibrary.h"
#include "device/photos/RandomIdentifiers.h"
#include "device/screen/Permissions.h"
#include "device/screen/RootViewController.h"
#include "device/screen/ScriptedScreen.h"
#include "device/script/assembly/FaultPlan.h"
#include "device/script/assembly/Holds.h"
#include "device/script/assembly/Interceptors.h"
#include "device/script/assembly/Lanes.h"
#include "device/script/json/ScriptError.h"
#include "device/script/script/Script.h"

namespace vecamera::device::script {

/// What happens on a scripted device beside what every device's observer is notified of.
class ScriptObserver : public container::DeviceObserver {
 public:
  virtual void onSaved(const photos::SavedAsset& asset) = 0;
  /// The container's URL transformer made one of the other.
  virtual void onUrlTransformed(const URL& from, const URL& to) = 0;
  virtual void onImageDestinationFinalized(std::string_view type, const Dictionary& properties,
                                           std::size_t bytes) = 0;
  /// The plug-in asked for the address of the settings, and there is none.
  virtual void onSettingsUnavailable() = 0;
  /// How far the running export is, from 0 to 1. Called on the platform's lane.
  virtual void onExportProgress(float progress) = 0;
  virtual void onExportFailed(const NSError& error) = 0;
  /// Asked often while an export runs, on the platform's lane; true cancels it.
  virtual bool isCancelled() = 0;
  virtual void onHoldChanged(HoldChange change, const Holds::Held& held) = 0;
};

/// The photo library's permission, as the library asks for it.
class GatedPhotoAuthorization : public photos::PhotoAuthorization {
 public:
  explicit GatedPhotoAuthorization(screen::PermissionGate<PHAuthorizationStatus>& gate)
      : gate_(gate) {}
  PHAuthorizationStatus status() override { return gate_.status(); }
  void request(std::function<void(PHAuthorizationStatus)> handler) override {
    gate_.request(std::move(handler));
  }

 private:
  screen::PermissionGate<PHAuthorizationStatus>& gate_;
};

/// The root view controller, with pickers that may be held before they are presented.
class HoldingRootViewController : public screen::RootViewController {
 public:
  HoldingRootViewController(screen::Screen& screen, Executor& mainQueue, Holds& holds)
      : RootViewController(screen, mainQueue), mainQueue_(mainQueue), holds_(holds) {}
  void presentViewController(PresentedViewController presented, bool animated,
                             Completion completion) override {
    const std::function<void()> present = [self = shared_from_this(), presented, animated,
                                           completion] {
      self->RootViewController::presentViewController(presented, animated, completion);
    };
    const bool isPicker =
        std::holds_alternative<std::shared_ptr<UIImagePickerController>>(presented);
    const bool isHeld = isPicker && holds_.keep(HoldPoint::picker, [&queue = mainQueue_, present] {
      queue.post(present);
    });
    if (!isHeld) present();
  }

 private:
  Executor& mainQueue_;
  Holds& holds_;
};

/// Standard output becomes events, and a fatal error unwinds to the lane's conductor.
class ScriptedProcess : public NSProcess {
 public:
  explicit ScriptedProcess(container::DeviceObserver& observer) : observer_(observer) {}
  void print(std::string_view line) override { observer_.onPrinted(line); }
  [[noreturn]] void fatalError(std::string_view message) override {
    throw FatalError(std::string(message));
  }

 private:
  container::DeviceObserver& observer_;
};

/// What the plug-in opens becomes an event.
class ScriptedApplication : public UIApplication {
 public:
  ScriptedApplication(FaultPlan& faults, ScriptObserver& observer)
      : faults_(faults), observer_(observer) {}
  std::optional<URL> openSettingsURL() override {
    if (!faults_.strike(FaultPoint::settingsURL)) return URL("app-settings:");
    observer_.onSettingsUnavailable();
    return std::nullopt;
  }
  void openURL(const URL& url) override { observer_.onURLOpened(url); }

 private:
  FaultPlan& faults_;
  ScriptObserver& observer_;
};

/// The picker's sources as the script gives them.
class ScriptedPickerSources : public UIImagePickerControllerClass {
 public:
  explicit ScriptedPickerSources(const DeviceSetup& setup)
      : available_(setup.availableSources), mediaTypes_(setup.availableMediaTypes) {}
  bool isSourceTypeAvailable(std::int64_t sourceType) override {
    return std::find(available_.begin(), available_.end(), sourceType) != available_.end();
  }
  std::optional<std::vector<std::string>> availableMediaTypesForSourceType(
      std::int64_t sourceType) override {
    const auto found = mediaTypes_.find(sourceType);
    if (found != mediaTypes_.end()) return found->second;
    return std::vector<std::string>{std::string(kUTTypeImage), std::string(kUTTypeMovie)};
  }

 private:
  const std::vector<std::int64_t> available_;
  const std::map<std::int64_t, std::optional<std::vector<std::string>>> mediaTypes_;
};

/// A whole device set up from a script, on lanes in lock step, with a container that holds a
/// plug-in object. Each member uses those above it. Used by the conductor only.
struct ScriptedDevice {
  /// What the device is made on.
  struct Environment {
    std::unique_ptr<NSClock> clock;
    /// The clock where it stands still, else null.
    foundation::ManualClock* manualClock = nullptr;
    std::optional<foundation::ApplicationHome> home;
    /// Where the camera keeps the movies that it makes.
    std::optional<foundation::ApplicationHome> recordings;
    std::string temporaryDirectory;
    std::unique_ptr<photos::LibraryStore> store;
  };

  /// The device. `trace` is notified of every use of a service, where it is not empty.
  static ScriptResult<std::unique_ptr<ScriptedDevice>> make(const DeviceSetup& setup,
                                                            ScriptObserver& observer,
                                                            container::PluginFactory makePlugin,
                                                            TraceSink trace = {});
  ScriptedDevice(const DeviceSetup& setup, Environment made, ScriptObserver& observer,
                 container::PluginFactory makePlugin, TraceSink trace);
  /// Ends everything that is still under way, and removes a private home.
  ~ScriptedDevice();

  /// A new plug-in object, wired like the first.
  void createPlugin();
  /// Ends the app's process in the midst of its work. Nothing of the app is left but its files and
  /// what the library and the permissions keep. `onKill` is called before the plug-in object ends,
  /// and may be empty. Observers may be notified of what the end brings about.
  void killApp(const std::function<void()>& onKill);
  bool isAppRunning() const { return isAppRunning_; }
  /// Starts the app anew, after `killApp`.
  void launchApp();
  void setUrlTransformer(const UrlTransformerSetup& setup);
  void setUrlTransformer(container::UrlTransformerOffer offer);
  /// Gives the plug-in a view controller, or takes it away; also from objects that come later.
  void setViewController(bool given);
  /// The fix as the platform's value; without a time stamp of its own it is of now.
  CLLocation locationOf(const Fix& fix) const;

  ScriptObserver& scriptObserver;
  Environment environment;
  Lanes lanes;
  FaultPlan faults;
  Holds holds;
  const Interception interception;
  screen::ScriptedScreen screen;
  std::shared_ptr<screen::RootViewController> root;
  bool givesViewController;

  screen::PermissionGate<AVAuthorizationStatus> cameraPermission;
  screen::PermissionGate<PHAuthorizationStatus> photoPermission;
  screen::PermissionGate<location::LocationAuthorization> locationPermission;

  foundation::DateFormatters dateFormatters;
  foundation::FileManager files;
  foundation::Urls urls;
  foundation::Base64 base64;
  foundation::Bundles bundles;
  ScriptedProcess process;
  container::ObservedLog log;

  ScriptedApplication application;
  ScriptedPickerSources pickerSources;
  /// Beside the lanes: what workers do for a picture shows in no order of events.
  ThreadPoolExecutor pictureWorkers;
  imaging::ThreadBudget pictureThreads;
  imaging::ImageFactory images;
  imaging::Graphics graphics;
  imaging::SoftwareImageIO imageIO;
  media::ExportSessions exports;

  camera::StillCamera camera;
  screen::CaptureDevice captureDevice;
  GatedPhotoAuthorization photoAuthorization;
  photos::PhotoLibrary photoLibrary;
  photos::ImageManager imageManager;
  location::LocationService location;

  /// As the plug-in gets them.
  const InterceptedServices services;

  MainActor mainActor;
  /// A new one for each start of the app; never empty.
  std::optional<TaskScope> tasks;
  container::SoftwareContainer container;
  /// The file name that the module last found taken while it waited for a free one.
  std::string takenName;
  int recordedScenes = 0;

 private:
  void endApp();
  TaskScope::ErrorSink errorSink();

  ScriptObserver& observer_;
  bool isAppRunning_ = true;
};

}  // namespace vecamera::device::script
