#import "ios/Sources/ImageIO.h"

#import <CoreImage/CoreImage.h>

#include <utility>

#include "ios/Sources/Images.h"
#include "ios/Sources/Value.h"

namespace vecamera_ios {
namespace {

/// One reference to an object of Core Foundation, which ARC does not count.
template <class Ref>
class Owned {
 public:
  explicit Owned(Ref object) : object_(object) {}
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned() {
    if (object_) CFRelease(object_);
  }
  Ref get() const { return object_; }

 private:
  const Ref object_;
};

class Source final : public vecamera::CGImageSource {
 public:
  explicit Source(CGImageSourceRef created) : source_(created) {}
  std::optional<std::string> type() const override {
    @autoreleasepool {
      const CFStringRef type = CGImageSourceGetType(source_.get());
      if (!type) return std::nullopt;
      return toText((__bridge NSString*)type);
    }
  }

 private:
  const Owned<CGImageSourceRef> source_;
};

class Destination final : public vecamera::CGImageDestination {
 public:
  /// The native destination writes behind what its buffer holds, so it gets an empty one.
  Destination(const vecamera::Data& data, NSMutableData* buffer, CGImageDestinationRef created,
              std::size_t count)
      : data_(data), buffer_(buffer), destination_(created), count_(count) {}

  void addImage(const std::shared_ptr<const vecamera::CGImage>& image,
                const vecamera::Dictionary& properties) override {
    pictures_.emplace_back(image, properties);
  }
  bool finalize() override {
    if (std::exchange(isFinalized_, true) || pictures_.size() != count_) return false;
    for (const auto& [image, properties] : pictures_)
      if (!nativeImage(image.get())) return false;
    @autoreleasepool {
      for (const auto& [image, properties] : pictures_)
        CGImageDestinationAddImage(destination_.get(), nativeImage(image.get()),
                                   (__bridge CFDictionaryRef)toNSDictionary(properties));
    }
    isWaiting_ = true;
    return true;
  }
  vecamera::Data data() const override {
    @autoreleasepool {
      if (std::exchange(isWaiting_, false) && CGImageDestinationFinalize(destination_.get()))
        data_ = adoptData(buffer_);
    }
    return data_;
  }

 private:
  mutable vecamera::Data data_;
  NSMutableData* const buffer_;
  const Owned<CGImageDestinationRef> destination_;
  const std::size_t count_;
  std::vector<std::pair<std::shared_ptr<const vecamera::CGImage>, vecamera::Dictionary>> pictures_;
  bool isFinalized_ = false;
  /// The native destination has its pictures and has encoded nothing yet.
  mutable bool isWaiting_ = false;
};

}  // namespace

std::unique_ptr<vecamera::CGImageSource> ImageIO::CGImageSourceCreateWithData(
    const vecamera::Data& data) {
  @autoreleasepool {
    const CGImageSourceRef created =
        ::CGImageSourceCreateWithData((__bridge CFDataRef)toNSData(data), nullptr);
    return created ? std::make_unique<Source>(created) : nullptr;
  }
}

std::unique_ptr<vecamera::CGImageDestination> ImageIO::CGImageDestinationCreateWithData(
    const vecamera::Data& data, std::string_view type, std::size_t count) {
  @autoreleasepool {
    NSMutableData* buffer = [[NSMutableData alloc] init];
    const CGImageDestinationRef created = ::CGImageDestinationCreateWithData(
        (__bridge CFMutableDataRef)buffer, (__bridge CFStringRef)toNSString(type), count, nullptr);
    return created ? std::make_unique<Destination>(data, buffer, created, count) : nullptr;
  }
}

std::optional<vecamera::Dictionary> ImageIO::CIImageProperties(const vecamera::Data& data) {
  @autoreleasepool {
    CIImage* image = [CIImage imageWithData:toNSData(data)];
    if (!image) return std::nullopt;
    return toDictionary(image.properties);
  }
}

}  // namespace vecamera_ios
