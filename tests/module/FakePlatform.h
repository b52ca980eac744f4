#pragma once

#include <deque>
#include <set>

#include "tests/module/FakeContainer.h"

namespace vecamera {

/// 2026-11-16 05:03:27.123456 UTC, which is 14:03:27 on the fake device, nine hours east.
Date deviceAfternoon();

class ManualClock : public NSClock {
 public:
  Date now() const override { return time; }
  Date time = deviceAfternoon();
};

class FakeDateFormatters : public NSDateFormatters {
 public:
  std::unique_ptr<NSDateFormatter> makeDateFormatter() override;
  std::optional<NSTimeZone> timeZoneWithAbbreviation(std::string_view abbreviation) override;
  bool knowsZones = true;
};

/// Files by path. A path in `pollsUntilFree` exists for that many questions.
class FakeFiles : public NSFileManager {
 public:
  std::optional<std::string> temporaryDirectory() override { return temporary; }
  std::string stringByStandardizingPath(std::string_view path) override;
  bool fileExistsAtPath(std::string_view path) override;
  void waitForChangeAtPath(std::string_view path) override;
  bool createFileAtPath(std::string_view path, const Data& contents) override;
  std::unique_ptr<NSDirectoryEnumerator> enumeratorAtPath(std::string_view path) override;
  std::unique_ptr<NSFileHandle> fileHandleForReadingAtPath(std::string_view path) override;
  std::optional<NSError> removeItemAtPath(std::string_view path) override;
  std::optional<NSError> writeAtomically(const Data& contents, const URL& url) override;

  std::optional<std::string> temporary = "/app/tmp/";
  std::map<std::string, Data, std::less<>> files;
  std::map<std::string, int, std::less<>> pollsUntilFree;
  /// Runs each time that somebody waits for a change at a path.
  std::function<void(std::string_view)> onWait;
  bool createFails = false;
  /// Reads of an open file that succeed before one fails.
  std::optional<int> goodReads;
  std::optional<NSError> writeError;
  /// What enumeration gives; nothing where the directory cannot be enumerated.
  std::optional<Array> entries = Array();
  /// The paths that cannot be removed.
  std::set<std::string, std::less<>> unremovable;
  Lines removed;
};

/// A text with a blank, or none at all, is no URL; a backslash cannot be appended.
class FakeURLs : public NSURLs {
 public:
  std::optional<URL> URLWithString(std::string_view text) const override;
  URL fileURLWithPath(std::string_view path) const override;
  std::optional<URL> appendingPathComponent(const URL& url,
                                            std::string_view component) const override;
  std::optional<std::string> addingPercentEncoding(std::string_view text,
                                                   std::string_view escaped) const override;
  bool encodes = true;
};

class FakeBase64 : public NSDataBase64 {
 public:
  std::string base64EncodedString(std::string_view prefix, const Data& data) const override;
  void appendBase64(std::string& text, const Data& data) const override;
};

/// The bundle "Velmora.bundle" of the main bundle.
class FakeBundles : public NSBundles {
 public:
  std::unique_ptr<NSBundle> mainBundle() override;
  std::unique_ptr<NSBundle> bundleWithPath(std::string_view path) override;
  bool present = true;
  bool opens = true;
  std::map<std::string, std::string, std::less<>> texts;
};

struct FatalError {
  std::string message;
};

class FakeProcess : public NSProcess {
 public:
  void print(std::string_view line) override { printed.add(std::string(line)); }
  [[noreturn]] void fatalError(std::string_view message) override {
    throw FatalError{std::string(message)};
  }
  Lines printed;
};

class FakeApplication : public UIApplication {
 public:
  std::optional<URL> openSettingsURL() override { return settings; }
  void openURL(const URL& url) override { opened.add(url.absoluteString()); }
  std::optional<URL> settings = URL("app-settings:");
  Lines opened;
};

class FakeImagePickers : public UIImagePickerControllerClass {
 public:
  bool isSourceTypeAvailable(std::int64_t source) override { return available.contains(source); }
  std::optional<std::vector<std::string>> availableMediaTypesForSourceType(std::int64_t) override {
    return mediaTypes;
  }
  std::set<std::int64_t> available{0, 1, 2};
  std::optional<std::vector<std::string>> mediaTypes{{"public.image", "public.movie"}};
};

class FakeBitmap : public CGImage {
 public:
  std::size_t width() const override { return 1; }
  std::size_t height() const override { return 1; }
};

class FakeImage : public UIImage {
 public:
  explicit FakeImage(std::string named, CGSize sized = {40, 30},
                     UIImageOrientation orientation = UIImageOrientation::up, bool hasBitmap = true)
      : name(std::move(named)), size_(sized), orientation_(orientation) {
    if (hasBitmap) bitmap_ = std::make_shared<FakeBitmap>();
  }
  CGSize size() const override { return size_; }
  UIImageOrientation imageOrientation() const override { return orientation_; }
  double scale() const override { return 3; }
  std::shared_ptr<const CGImage> cgImage() const override { return bitmap_; }
  const std::string name;

 private:
  CGSize size_;
  UIImageOrientation orientation_;
  std::shared_ptr<const CGImage> bitmap_;
};

/// Records the calls on every context. A picture that a context yields is named by what was drawn.
class FakeGraphics : public UIGraphics {
 public:
  std::unique_ptr<UIGraphicsImageContext> beginImageContext(CGSize size) override;
  bool hasContext = true;
  bool yieldsImages = true;
  Lines calls;
};

/// Encoded bytes are texts: jpeg(name@quality) and png(name).
class FakeImages : public UIImages {
 public:
  std::shared_ptr<UIImage> imageWithData(const Data& data) override;
  std::optional<Data> UIImageJPEGRepresentation(const std::shared_ptr<UIImage>& image,
                                                double compressionQuality) override;
  std::optional<Data> UIImagePNGRepresentation(const std::shared_ptr<UIImage>& image) override;
  bool decodes = true;
  bool encodes = true;
};

class FakeImageIO : public ImageIO {
 public:
  std::unique_ptr<CGImageSource> CGImageSourceCreateWithData(const Data& data) override;
  std::unique_ptr<CGImageDestination> CGImageDestinationCreateWithData(const Data& data,
                                                                       std::string_view type,
                                                                       std::size_t count) override;
  std::optional<Dictionary> CIImageProperties(const Data&) override { return properties; }
  bool makesSources = true;
  bool makesDestinations = true;
  std::optional<std::string> type = "public.jpeg";
  std::optional<Dictionary> properties = Dictionary{{"of", "asset"}};
  Lines calls;
};

/// Keeps the handler of the latest question until the test answers it.
class FakeCaptureDevice : public AVCaptureDevice {
 public:
  AVAuthorizationStatus authorizationStatusForMediaType(std::string_view mediaType) override {
    mediaTypes.add(std::string(mediaType));
    return status;
  }
  void requestAccessForMediaType(std::string_view mediaType,
                                 std::function<void(bool)> handler) override {
    mediaTypes.add(std::string(mediaType));
    asked = std::move(handler);
  }
  Lines mediaTypes;
  AVAuthorizationStatus status = AVAuthorizationStatus::authorized;
  std::function<void(bool)> asked;
};

class FakeAsset : public PHAsset {
 public:
  explicit FakeAsset(std::string identifier) : identifier_(std::move(identifier)) {}
  std::string localIdentifier() const override { return identifier_; }

 private:
  std::string identifier_;
};

/// Keeps changes and questions until the test, or the executor `answersOn`, finishes them.
class FakePhotoLibrary : public PHPhotoLibrary {
 public:
  struct Change {
    ChangeBlock block;
    CompletionHandler completion;
  };

  PHAuthorizationStatus authorizationStatus() override { return status; }
  void requestAuthorization(std::function<void(PHAuthorizationStatus)> handler) override {
    asked = std::move(handler);
  }
  void performChanges(ChangeBlock changes, CompletionHandler completion) override;
  std::vector<std::shared_ptr<PHAsset>> fetchAssetsWithALAssetURLs(const std::vector<URL>& urls,
                                                                   const PHFetchOptions&) override;

  /// Runs the oldest change's block and then its handler.
  void finishChange(bool success, std::optional<NSError> error = std::nullopt);

  PHAuthorizationStatus status = PHAuthorizationStatus::authorized;
  std::function<void(PHAuthorizationStatus)> asked;
  std::deque<Change> changes;
  Executor* answersOn = nullptr;
  std::optional<std::string> placeholder = "NEW-1";
  std::map<std::string, std::shared_ptr<PHAsset>> assetsByUrl;
  Lines added;

 private:
  class Request;
  class Changes;
  void run(const Change& change, bool success, std::optional<NSError> error);
};

/// Keeps requests until the test, or the executor `answersOn`, answers them.
class FakeImageManager : public PHImageManager {
 public:
  void requestImageDataAndOrientationForAsset(const std::shared_ptr<PHAsset>& asset,
                                              const std::optional<PHImageRequestOptions>& options,
                                              ResultHandler handler) override;
  std::deque<ResultHandler> requests;
  Executor* answersOn = nullptr;
  Lines asked;
};

class FakeCoreLocation : public CoreLocation {
 public:
  std::shared_ptr<CLLocationManager> makeLocationManager() override;
  /// Read anew for each property of a manager.
  std::function<std::optional<CLLocation>()> fix = [] { return std::nullopt; };
  Lines calls;
};

/// An export that waits until the test, or the executor that the exports answer on, ends it.
class FakeExportSession : public AVAssetExportSession {
 public:
  void setOutputFileType(std::string_view type) override { fileType = type; }
  void setOutputURL(const URL& url) override { output = url.absoluteString(); }
  void exportAsynchronouslyWithCompletionHandler(std::function<void()> handler) override {
    handler_ = std::move(handler);
  }
  void cancelExport() override {}
  AVAssetExportSessionStatus status() const override { return status_; }
  float progress() const override { return 0; }
  std::optional<NSError> error() const override { return error_; }

  void end(AVAssetExportSessionStatus status, std::optional<NSError> error = std::nullopt) {
    status_ = status;
    error_ = std::move(error);
    handler_();
  }
  std::string fileType, output;

 private:
  std::function<void()> handler_;
  AVAssetExportSessionStatus status_ = AVAssetExportSessionStatus::unknown;
  std::optional<NSError> error_;
};

class FakeAssetExports : public AVAssetExports {
 public:
  std::shared_ptr<AVAsset> assetWithURL(const URL& url) override;
  std::shared_ptr<AVAssetExportSession> exportSessionWithAsset(const std::shared_ptr<AVAsset>&,
                                                               std::string_view preset) override;
  bool makesSessions = true;
  std::deque<std::shared_ptr<FakeExportSession>> sessions;
  Lines calls;
};

/// Every platform interface, with manual executors. Members that hold handlers are destroyed after
/// the tasks have been joined.
struct FakePlatform {
  FakePlatform() : FakePlatform(nullptr) {}
  /// With a background executor of the test's own, which outlives this.
  explicit FakePlatform(Executor* otherBackground)
      : background(otherBackground ? *otherBackground : manualBackground) {}

  Platform platform();
  /// Runs what both manual executors hold, until neither holds any more.
  void settle();

  FakeLog log;
  ManualClock clock;
  FakeDateFormatters dateFormatters;
  FakeFiles files;
  FakeURLs urls;
  FakeBase64 base64;
  FakeBundles bundles;
  FakeProcess process;
  FakeApplication application;
  FakeImagePickers imagePickers;
  FakeGraphics graphics;
  FakeImages images;
  FakeImageIO imageIO;
  FakeCaptureDevice captureDevice;
  FakePhotoLibrary photoLibrary;
  FakeImageManager imageManager;
  FakeCoreLocation coreLocation;
  FakeAssetExports assetExports;
  QueueExecutor mainQueue;
  MainActor mainActor{mainQueue};
  QueueExecutor manualBackground;
  Executor& background;
  Lines unhandled;
  TaskScope tasks{[this](std::exception_ptr) { unhandled.add("a task threw"); }};
};

NSError errorSaying(std::string description);

}  // namespace vecamera
