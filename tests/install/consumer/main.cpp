#include <cstdlib>
#include <iostream>

#include "VECamera/core/VECameraPlugin.h"

using namespace vecamera;

namespace {

/// A device that has nothing: no camera, no library, no files. It is every interface at once,
/// because none of them has anything to keep apart. What would have to make an object gives null:
/// where no source is available, nothing asks for one.
class BareDevice : public VELog,
                   public NSClock,
                   public NSDateFormatters,
                   public NSFileManager,
                   public NSURLs,
                   public NSDataBase64,
                   public NSBundles,
                   public NSProcess,
                   public UIApplication,
                   public UIImagePickerControllerClass,
                   public UIGraphics,
                   public UIImages,
                   public ImageIO,
                   public AVCaptureDevice,
                   public PHPhotoLibrary,
                   public PHImageManager,
                   public CoreLocation,
                   public AVAssetExports {
 public:
  // VELog
  void debug(std::string_view msg) override { std::cerr << msg << '\n'; }
  void error(std::string_view, std::string_view msg, std::string_view, int,
             std::string_view) override {
    std::cerr << msg << '\n';
  }

  // Foundation
  Date now() const override { return {}; }
  std::unique_ptr<NSDateFormatter> makeDateFormatter() override { return nullptr; }
  std::optional<NSTimeZone> timeZoneWithAbbreviation(std::string_view) override { return {}; }
  std::optional<std::string> temporaryDirectory() override { return {}; }
  std::string stringByStandardizingPath(std::string_view path) override {
    return std::string(path);
  }
  bool fileExistsAtPath(std::string_view) override { return false; }
  void waitForChangeAtPath(std::string_view) override {}
  bool createFileAtPath(std::string_view, const Data&) override { return false; }
  std::unique_ptr<NSDirectoryEnumerator> enumeratorAtPath(std::string_view) override {
    return nullptr;
  }
  std::unique_ptr<NSFileHandle> fileHandleForReadingAtPath(std::string_view) override {
    return nullptr;
  }
  std::optional<NSError> removeItemAtPath(std::string_view) override { return NSError{}; }
  std::optional<NSError> writeAtomically(const Data&, const URL&) override { return NSError{}; }
  std::optional<URL> URLWithString(std::string_view) const override { return {}; }
  URL fileURLWithPath(std::string_view path) const override { return URL(std::string(path)); }
  std::optional<URL> appendingPathComponent(const URL&, std::string_view) const override {
    return {};
  }
  std::optional<std::string> addingPercentEncoding(std::string_view,
                                                   std::string_view) const override {
    return {};
  }
  std::string base64EncodedString(std::string_view prefix, const Data&) const override {
    return std::string(prefix);
  }
  void appendBase64(std::string&, const Data&) const override {}
  std::unique_ptr<NSBundle> mainBundle() override { return nullptr; }
  std::unique_ptr<NSBundle> bundleWithPath(std::string_view) override { return nullptr; }
  void print(std::string_view line) override { std::cerr << line << '\n'; }
  [[noreturn]] void fatalError(std::string_view) override { std::abort(); }

  // UIKit and the image frameworks
  std::optional<URL> openSettingsURL() override { return {}; }
  void openURL(const URL&) override {}
  bool isSourceTypeAvailable(std::int64_t) override { return false; }
  std::optional<std::vector<std::string>> availableMediaTypesForSourceType(std::int64_t) override {
    return {};
  }
  std::unique_ptr<UIGraphicsImageContext> beginImageContext(CGSize) override { return nullptr; }
  std::shared_ptr<UIImage> imageWithData(const Data&) override { return nullptr; }
  std::optional<Data> UIImageJPEGRepresentation(const std::shared_ptr<UIImage>&, double) override {
    return {};
  }
  std::optional<Data> UIImagePNGRepresentation(const std::shared_ptr<UIImage>&) override {
    return {};
  }
  std::unique_ptr<CGImageSource> CGImageSourceCreateWithData(const Data&) override {
    return nullptr;
  }
  std::unique_ptr<CGImageDestination> CGImageDestinationCreateWithData(const Data&,
                                                                       std::string_view,
                                                                       std::size_t) override {
    return nullptr;
  }
  std::optional<Dictionary> CIImageProperties(const Data&) override { return {}; }

  // Movies
  std::shared_ptr<AVAsset> assetWithURL(const URL&) override { return nullptr; }
  std::shared_ptr<AVAssetExportSession> exportSessionWithAsset(const std::shared_ptr<AVAsset>&,
                                                               std::string_view) override {
    return nullptr;
  }

  // Services behind permissions
  AVAuthorizationStatus authorizationStatusForMediaType(std::string_view) override {
    return AVAuthorizationStatus::denied;
  }
  void requestAccessForMediaType(std::string_view, std::function<void(bool)>) override {}
  PHAuthorizationStatus authorizationStatus() override { return PHAuthorizationStatus::denied; }
  void requestAuthorization(std::function<void(PHAuthorizationStatus)>) override {}
  void performChanges(ChangeBlock, CompletionHandler) override {}
  std::vector<std::shared_ptr<PHAsset>> fetchAssetsWithALAssetURLs(const std::vector<URL>&,
                                                                   const PHFetchOptions&) override {
    return {};
  }
  void requestImageDataAndOrientationForAsset(const std::shared_ptr<PHAsset>&,
                                              const std::optional<PHImageRequestOptions>&,
                                              ResultHandler) override {}
  std::shared_ptr<CLLocationManager> makeLocationManager() override { return nullptr; }
};

class PlainCommand : public VelmoraCommand {
 public:
  std::optional<Value> argument(std::size_t) const override { return {}; }
};

/// Prints the answer and keeps whether there was one.
class PrintingCallBack : public CallBackManager {
 public:
  const VelmoraCommand& command() const override { return command_; }
  void success(bool) override { answer("success", ""); }
  void success(Dictionary, bool) override { answer("success", ""); }
  void error(CommandStatus status, std::string message, bool) override {
    answer(nameOf(status), message);
  }
  void error(CommandStatus status, Dictionary, bool) override { answer(nameOf(status), ""); }
  std::shared_ptr<CommandDelegate> commandDelegate() const override { return nullptr; }
  bool answered() const { return answered_; }

 private:
  void answer(std::string_view status, std::string_view message) {
    std::cout << status << ": " << message << '\n';
    answered_ = true;
  }

  PlainCommand command_;
  bool answered_ = false;
};

}  // namespace

int main() {
  BareDevice device;
  QueueExecutor mainQueue;
  MainActor mainActor(mainQueue);
  ThreadPoolExecutor background(1);
  TaskScope tasks([](std::exception_ptr) { std::abort(); });
  const auto plugin = VECameraPlugin::create({
      .log = device,
      .clock = device,
      .dateFormatters = device,
      .fileManager = device,
      .urls = device,
      .base64 = device,
      .bundles = device,
      .process = device,
      .application = device,
      .imagePickers = device,
      .graphics = device,
      .images = device,
      .imageIO = device,
      .assetExports = device,
      .captureDevice = device,
      .photoLibrary = device,
      .imageManager = device,
      .coreLocation = device,
      .mainQueue = mainQueue,
      .mainActor = mainActor,
      .background = background,
      .tasks = tasks,
  });
  const auto callback = std::make_shared<PrintingCallBack>();
  plugin->takePicture(callback);
  mainQueue.runUntil([&] { return callback->answered(); });
  tasks.join();
}
