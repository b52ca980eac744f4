#include "device/imaging/platform/SoftwareImageIO.h"

#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/metadata/Metadata.h"
#include "device/imaging/pipeline/Encode.h"
#include "device/imaging/platform/DeviceImage.h"
#include "device/imaging/platform/ImageFactory.h"
#include "device/imaging/png/PngCodec.h"

namespace vecamera::device::imaging {
namespace {

class Destination final : public CGImageDestination {
 public:
  Destination(Data data, PictureFormat format, SoftwareImageIO::OnFinalized onFinalized,
              ThreadBudget threads)
      : data_(std::move(data)),
        format_(format),
        onFinalized_(std::move(onFinalized)),
        threads_(std::move(threads)) {}

  void addImage(const std::shared_ptr<const CGImage>& image,
                const Dictionary& properties) override {
    ++added_;
    image_ = lazyImageOf(image.get());
    properties_ = properties;
  }

  bool finalize() override {
    if (finalized_) return false;
    finalized_ = true;
    if (added_ != 1 || !image_) return false;
    auto encoded = format_ == jpegFormat ? encodeJpeg(image_, quality(), {}, threads_)
                                         : encodePng(image_, threads_);
    if (!encoded) return false;
    const auto finished = writeProperties(Data(std::move(*encoded)), properties_);
    if (!finished) return false;
    data_ = *finished;
    if (onFinalized_) onFinalized_(format_.typeIdentifier, properties_, data_.size());
    return true;
  }

  Data data() const override { return data_; }

 private:
  int quality() const {
    constexpr double defaultQuality = 0.9;
    const Value* requested = find(properties_, "kCGImageDestinationLossyCompressionQuality");
    return jpegQuality(requested ? requested->numberValue().value_or(defaultQuality)
                                 : defaultQuality);
  }

  Data data_;
  PictureFormat format_;
  SoftwareImageIO::OnFinalized onFinalized_;
  ThreadBudget threads_;
  std::size_t added_ = 0;
  std::shared_ptr<const LazyImage> image_;
  Dictionary properties_;
  bool finalized_ = false;
};

class ImageSource final : public CGImageSource {
 public:
  explicit ImageSource(const Data& data) : header_(readHeader(data.bytes())) {}
  std::optional<std::string> type() const override {
    if (!header_) return std::nullopt;
    return std::string(header_->format.typeIdentifier);
  }

 private:
  const ImageResult<PictureHeader> header_;
};

}  // namespace

std::unique_ptr<CGImageSource> SoftwareImageIO::CGImageSourceCreateWithData(const Data& data) {
  if (data.empty()) return nullptr;
  return std::make_unique<ImageSource>(data);
}

std::unique_ptr<CGImageDestination> SoftwareImageIO::CGImageDestinationCreateWithData(
    const Data& data, std::string_view type, std::size_t count) {
  if (count != 1) return nullptr;
  for (const PictureFormat& format : {jpegFormat, pngFormat})
    if (type == format.typeIdentifier)
      return std::make_unique<Destination>(data, format, onFinalized_, threads_);
  return nullptr;
}

std::optional<Dictionary> SoftwareImageIO::CIImageProperties(const Data& data) {
  return readProperties(data).value();
}

}  // namespace vecamera::device::imaging
