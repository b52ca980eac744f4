#include "tests/module/FakePlatform.h"

#include <sstream>

namespace vecamera {
namespace {

std::string textOf(const Data& data) {
  return std::string(data.bytes().begin(), data.bytes().end());
}

std::string padded(std::int64_t number, std::size_t width) {
  const auto text = std::to_string(number);
  return std::string(width > text.size() ? width - text.size() : 0, '0') + text;
}

class FileHandle : public NSFileHandle {
 public:
  FileHandle(Data contents, std::optional<int> goodReads)
      : contents_(std::move(contents)), goodReads_(goodReads) {}
  std::uint64_t size() const override { return contents_.size(); }
  std::optional<Data> readDataUpToLength(std::size_t length) override {
    if (goodReads_ && (*goodReads_)-- <= 0) return std::nullopt;
    const auto rest = contents_.bytes().subspan(position_);
    const auto piece = rest.first(std::min(length, rest.size()));
    position_ += piece.size();
    return Data::copyOf(piece);
  }

 private:
  const Data contents_;
  std::optional<int> goodReads_;
  std::size_t position_ = 0;
};

class Formatter : public NSDateFormatter {
 public:
  void setDateFormat(std::string_view pattern) override { pattern_ = pattern; }
  void setTimeZone(const std::optional<NSTimeZone>& zone) override { zone_ = zone; }
  std::string stringFromDate(Date date) const override {
    using namespace std::chrono;
    const auto local = zone_ ? date : date + hours(9);
    const auto midnight = floor<days>(local);
    const year_month_day day{midnight};
    const hh_mm_ss time{local - midnight};
    const auto field = [&](char letter) -> std::int64_t {
      const auto hour = time.hours().count();
      switch (letter) {
        case 'y': return int(day.year());
        case 'M': return unsigned(day.month());
        case 'd': return unsigned(day.day());
        case 'H': return hour;
        case 'h': return hour % 12 == 0 ? 12 : hour % 12;
        case 'm': return time.minutes().count();
        case 's': return time.seconds().count();
        case 'S': return time.subseconds().count();
        default: return -1;
      }
    };
    std::string text;
    for (std::size_t i = 0; i < pattern_.size();) {
      const auto end = std::min(pattern_.find_first_not_of(pattern_[i], i), pattern_.size());
      const auto value = field(pattern_[i]);
      text += value < 0 ? pattern_.substr(i, end - i) : padded(value, end - i);
      i = end;
    }
    return text;
  }

 private:
  std::string pattern_;
  std::optional<NSTimeZone> zone_;
};

class Enumerator : public NSDirectoryEnumerator {
 public:
  explicit Enumerator(Array entries) : entries_(std::move(entries)) {}
  std::optional<Value> nextObject() override {
    return next_ < entries_.size() ? std::optional(entries_[next_++]) : std::nullopt;
  }

 private:
  Array entries_;
  std::size_t next_ = 0;
};

class Bundle : public NSBundle {
 public:
  Bundle(const FakeBundles& bundles, bool isMain) : bundles_(bundles), isMain_(isMain) {}
  std::optional<std::string> pathForResource(std::string_view name,
                                             std::string_view type) override {
    if (!isMain_ || !bundles_.present || name != "Velmora" || type != "bundle") return std::nullopt;
    return "/app/Velmora.bundle";
  }
  std::string localizedStringForKey(std::string_view key) override {
    const auto found = bundles_.texts.find(key);
    return found == bundles_.texts.end() ? std::string(key) : found->second;
  }

 private:
  const FakeBundles& bundles_;
  bool isMain_;
};

std::string nameOfImage(const std::shared_ptr<UIImage>& image) {
  return std::static_pointer_cast<FakeImage>(image)->name;
}

std::string pairOf(double a, double b) {
  return " " + describe(a) + "," + describe(b);
}

class ImageContext : public UIGraphicsImageContext, private CGContext {
 public:
  ImageContext(FakeGraphics& graphics, CGSize size) : graphics_(graphics), size_(size) {
    graphics_.calls.add("begin" + pairOf(size.width, size.height));
  }
  ~ImageContext() override { graphics_.calls.add("end"); }
  CGContext* currentContext() override { return graphics_.hasContext ? this : nullptr; }
  void drawInRect(const std::shared_ptr<UIImage>& image, const CGRect& rect) override {
    drawn_ = "scaled " + nameOfImage(image);
    add("draw", rect);
  }
  std::shared_ptr<UIImage> imageFromCurrentImageContext() override {
    graphics_.calls.add("take");
    return graphics_.yieldsImages ? std::make_shared<FakeImage>(drawn_, size_) : nullptr;
  }

 private:
  void translateBy(double x, double y) override { graphics_.calls.add("translate" + pairOf(x, y)); }
  void rotateBy(double radians) override { graphics_.calls.add("rotate " + describe(radians)); }
  void scaleBy(double x, double y) override { graphics_.calls.add("scale" + pairOf(x, y)); }
  void drawImage(const std::shared_ptr<const CGImage>&, const CGRect& rect) override {
    drawn_ = "rotated";
    add("bitmap", rect);
  }
  void add(const std::string& what, const CGRect& rect) {
    graphics_.calls.add(what + pairOf(rect.x, rect.y) + pairOf(rect.width, rect.height));
  }

  FakeGraphics& graphics_;
  CGSize size_;
  std::string drawn_ = "blank";
};

class Source : public CGImageSource {
 public:
  explicit Source(std::optional<std::string> type) : type_(std::move(type)) {}
  std::optional<std::string> type() const override { return type_; }

 private:
  std::optional<std::string> type_;
};

class Destination : public CGImageDestination {
 public:
  explicit Destination(Lines& calls) : calls_(calls) {}
  void addImage(const std::shared_ptr<const CGImage>&, const Dictionary& properties) override {
    calls_.add("add " + describe(properties));
  }
  bool finalize() override {
    calls_.add("finalize");
    return true;
  }
  Data data() const override { return Data::copyOf("merged"); }

 private:
  Lines& calls_;
};

class LocationManager : public CLLocationManager {
 public:
  explicit LocationManager(FakeCoreLocation& device) : device_(device) {}
  void setDesiredAccuracy(double metres) override { accuracy_ = metres; }
  double desiredAccuracy() const override { return accuracy_; }
  void setDelegate(std::weak_ptr<CLLocationManagerDelegate> delegate) override {
    delegate_ = std::move(delegate);
  }
  std::shared_ptr<CLLocationManagerDelegate> delegate() const override { return delegate_.lock(); }
  void requestWhenInUseAuthorizationAfterZeroDelay() override {
    device_.calls.add("perform requestWhenInUseAuthorization");
  }
  void startUpdatingLocation() override { device_.calls.add("start"); }
  void stopUpdatingLocation() override { device_.calls.add("stop"); }
  std::optional<CLLocation> location() const override { return device_.fix(); }

 private:
  FakeCoreLocation& device_;
  double accuracy_ = 0;
  std::weak_ptr<CLLocationManagerDelegate> delegate_;
};

}  // namespace

std::string describe(double number) {
  std::ostringstream out;
  out << number;
  return out.str();
}

std::string describe(const Value& value) {
  if (value.boolean()) return *value.boolean() ? "true" : "false";
  if (value.integer()) return std::to_string(*value.integer());
  if (value.real()) return describe(*value.real());
  if (value.text()) return "'" + *value.text() + "'";
  if (value.data()) return "bytes[" + textOf(*value.data()) + "]";
  if (value.url()) return "<" + value.url()->absoluteString() + ">";
  if (!value.dictionary()) return value.isNull() ? "null" : "object";
  std::string text;
  for (const auto& [key, held] : *value.dictionary())
    text += (text.empty() ? "" : ", ") + key + ": " + describe(held);
  return "{" + text + "}";
}

NSError errorSaying(std::string description) {
  return {"Fake", 7, {{std::string(NSLocalizedDescriptionKey), std::move(description)}}};
}

Date deviceAfternoon() {
  using namespace std::chrono;
  return sys_days{2026y / November / 16} + 5h + 3min + 27s + 123456us;
}

std::unique_ptr<NSDateFormatter> FakeDateFormatters::makeDateFormatter() {
  return std::make_unique<Formatter>();
}

std::optional<NSTimeZone> FakeDateFormatters::timeZoneWithAbbreviation(
    std::string_view abbreviation) {
  if (!knowsZones || abbreviation != "UTC") return std::nullopt;
  return NSTimeZone{"UTC"};
}

std::string FakeFiles::stringByStandardizingPath(std::string_view path) {
  return std::string(path.ends_with('/') ? path.substr(0, path.size() - 1) : path);
}

bool FakeFiles::fileExistsAtPath(std::string_view path) {
  if (const auto busy = pollsUntilFree.find(path); busy != pollsUntilFree.end())
    return busy->second-- > 0;
  return files.contains(path);
}

void FakeFiles::waitForChangeAtPath(std::string_view path) {
  if (onWait) onWait(path);
}

bool FakeFiles::createFileAtPath(std::string_view path, const Data& contents) {
  if (!createFails) files[std::string(path)] = contents;
  return !createFails;
}

std::unique_ptr<NSDirectoryEnumerator> FakeFiles::enumeratorAtPath(std::string_view) {
  return entries ? std::make_unique<Enumerator>(*entries) : nullptr;
}

std::unique_ptr<NSFileHandle> FakeFiles::fileHandleForReadingAtPath(std::string_view path) {
  const auto found = files.find(path);
  if (found == files.end()) return nullptr;
  return std::make_unique<FileHandle>(found->second, goodReads);
}

std::optional<NSError> FakeFiles::removeItemAtPath(std::string_view path) {
  if (unremovable.contains(path)) return errorSaying("locked");
  removed.add(std::string(path));
  if (const auto found = files.find(path); found != files.end()) files.erase(found);
  return std::nullopt;
}

std::optional<NSError> FakeFiles::writeAtomically(const Data& contents, const URL& url) {
  if (!writeError) files[url.absoluteString()] = contents;
  return writeError;
}

std::optional<URL> FakeURLs::URLWithString(std::string_view text) const {
  if (text.empty() || text.find(' ') != text.npos) return std::nullopt;
  return URL(std::string(text));
}

URL FakeURLs::fileURLWithPath(std::string_view path) const {
  return URL("file://" + std::string(path));
}

std::optional<URL> FakeURLs::appendingPathComponent(const URL& url,
                                                    std::string_view component) const {
  if (component == "\\") return std::nullopt;
  const std::string& base = url.absoluteString();
  return URL(base + (base.ends_with('/') ? "" : "/") + *addingPercentEncoding(component, " "));
}

std::optional<std::string> FakeURLs::addingPercentEncoding(std::string_view text,
                                                           std::string_view escaped) const {
  if (!encodes) return std::nullopt;
  std::ostringstream out;
  for (const char c : text) {
    if (escaped.find(c) == escaped.npos)
      out << c;
    else
      out << '%' << std::hex << std::uppercase << int(c);
  }
  return out.str();
}

std::string FakeBase64::base64EncodedString(std::string_view prefix, const Data& data) const {
  return std::string(prefix) + "b64:" + textOf(data);
}

void FakeBase64::appendBase64(std::string& text, const Data& data) const {
  text += "b64:" + textOf(data);
}

std::unique_ptr<NSBundle> FakeBundles::mainBundle() {
  return std::make_unique<Bundle>(*this, true);
}

std::unique_ptr<NSBundle> FakeBundles::bundleWithPath(std::string_view) {
  return opens ? std::make_unique<Bundle>(*this, false) : nullptr;
}

std::unique_ptr<UIGraphicsImageContext> FakeGraphics::beginImageContext(CGSize size) {
  return std::make_unique<ImageContext>(*this, size);
}

std::shared_ptr<UIImage> FakeImages::imageWithData(const Data& data) {
  return decodes ? std::make_shared<FakeImage>("decoded " + textOf(data)) : nullptr;
}

std::optional<Data> FakeImages::UIImageJPEGRepresentation(const std::shared_ptr<UIImage>& image,
                                                          double compressionQuality) {
  if (!encodes) return std::nullopt;
  return Data::copyOf("jpeg(" + nameOfImage(image) + "@" + describe(compressionQuality) + ")");
}

std::optional<Data> FakeImages::UIImagePNGRepresentation(const std::shared_ptr<UIImage>& image) {
  if (!encodes) return std::nullopt;
  return Data::copyOf("png(" + nameOfImage(image) + ")");
}

std::unique_ptr<CGImageSource> FakeImageIO::CGImageSourceCreateWithData(const Data&) {
  return makesSources ? std::make_unique<Source>(type) : nullptr;
}

std::unique_ptr<CGImageDestination> FakeImageIO::CGImageDestinationCreateWithData(
    const Data& data, std::string_view asType, std::size_t count) {
  if (!makesDestinations) return nullptr;
  calls.add("destination " + std::string(asType) + " x" + std::to_string(count) + " over " +
            textOf(data));
  return std::make_unique<Destination>(calls);
}

class FakePhotoLibrary::Request : public PHAssetCreationRequest {
 public:
  explicit Request(FakePhotoLibrary& library) : library_(library) {}
  void addResource(PHAssetResourceType type, const Data& data,
                   const PHAssetResourceCreationOptions&) override {
    library_.added.add("type " + std::to_string(int(type)) + " " + textOf(data));
  }
  void addResource(PHAssetResourceType type, const URL& fileURL,
                   const PHAssetResourceCreationOptions&) override {
    library_.added.add("type " + std::to_string(int(type)) + " of " + fileURL.absoluteString());
  }
  std::optional<std::string> placeholderLocalIdentifier() const override {
    return library_.placeholder;
  }

 private:
  FakePhotoLibrary& library_;
};

class FakePhotoLibrary::Changes : public PHAssetChanges {
 public:
  explicit Changes(FakePhotoLibrary& library) : request_(library) {}
  PHAssetCreationRequest& creationRequestForAsset() override { return request_; }

 private:
  Request request_;
};

void FakePhotoLibrary::performChanges(ChangeBlock block, CompletionHandler completion) {
  Change change{std::move(block), std::move(completion)};
  if (answersOn)
    answersOn->post([this, change] { run(change, true, std::nullopt); });
  else
    changes.push_back(std::move(change));
}

void FakePhotoLibrary::run(const Change& change, bool success, std::optional<NSError> error) {
  Changes made(*this);
  change.block(made);
  change.completion(success, std::move(error));
}

std::vector<std::shared_ptr<PHAsset>> FakePhotoLibrary::fetchAssetsWithALAssetURLs(
    const std::vector<URL>& urls, const PHFetchOptions&) {
  std::vector<std::shared_ptr<PHAsset>> found;
  for (const auto& url : urls)
    if (assetsByUrl.contains(url.absoluteString()))
      found.push_back(assetsByUrl.at(url.absoluteString()));
  return found;
}

void FakePhotoLibrary::finishChange(bool success, std::optional<NSError> error) {
  if (changes.empty()) throw std::logic_error("no change is waiting");
  const Change change = std::move(changes.front());
  changes.pop_front();
  run(change, success, std::move(error));
}

void FakeImageManager::requestImageDataAndOrientationForAsset(
    const std::shared_ptr<PHAsset>& asset, const std::optional<PHImageRequestOptions>& options,
    ResultHandler handler) {
  asked.add(asset->localIdentifier() + (options ? " with options" : ""));
  if (answersOn)
    answersOn->post([handler] { handler(Data::copyOf("original"), "public.heic", 6, {}); });
  else
    requests.push_back(std::move(handler));
}

std::shared_ptr<CLLocationManager> FakeCoreLocation::makeLocationManager() {
  calls.add("make");
  return std::make_shared<LocationManager>(*this);
}

std::shared_ptr<AVAsset> FakeAssetExports::assetWithURL(const URL& url) {
  calls.add("asset " + url.absoluteString());
  return std::make_shared<AVAsset>();
}

std::shared_ptr<AVAssetExportSession> FakeAssetExports::exportSessionWithAsset(
    const std::shared_ptr<AVAsset>&, std::string_view preset) {
  calls.add("export with " + std::string(preset));
  if (!makesSessions) return nullptr;
  sessions.push_back(std::make_shared<FakeExportSession>());
  return sessions.back();
}

Platform FakePlatform::platform() {
  return {log,       clock,        dateFormatters, files,        urls,         base64,
          bundles,   process,      application,    imagePickers, graphics,     images,
          imageIO,   assetExports, captureDevice,  photoLibrary, imageManager, coreLocation,
          mainQueue, mainActor,    background,     tasks};
}

void FakePlatform::settle() {
  while (mainQueue.runAll() + manualBackground.runAll() > 0) {
  }
}

}  // namespace vecamera
