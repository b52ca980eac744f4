#include "device/imaging/platform/ImageFiles.h"

#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/metadata/Metadata.h"
#include "device/imaging/pipeline/EncodeJpeg.h"
#include "device/imaging/pipeline/EncodePng.h"
#include "device/imaging/platform/Images.h"
#include "device/imaging/platform/Picture.h"

namespace vecamera::device::imaging {
namespace {

class Destination final : public CGImageDestination {
 public:
  Destination(Data data, PictureFormat format, ImageFiles::Observer observer, ThreadBudget threads)
      : data_(std::move(data)),
        format_(format),
        observer_(std::move(observer)),
        threads_(std::move(threads)) {}

  void addImage(const std::shared_ptr<const CGImage>& image,
                const Dictionary& properties) override {
    ++added_;
    source_ = sourceOf(image.get());
    properties_ = properties;
  }

  bool finalize() override {
    if (finalized_) return false;
    finalized_ = true;
    if (added_ != 1 || !source_) return false;
    const auto pixels = encoded();
    if (!pixels) return false;
    const auto finished = writeProperties(*pixels, properties_);
    if (!finished) return false;
    data_ = *finished;
    if (observer_) observer_(typeIdentifier(format_), properties_, data_.size());
    return true;
  }

  Data data() const override { return data_; }

 private:
  std::optional<Data> encoded() const {
    auto bytes = format_ == PictureFormat::jpeg ? encodeJpeg(source_, quality(), {}, threads_)
                                                : encodePng(source_, threads_);
    if (!bytes) return std::nullopt;
    return Data(std::move(*bytes));
  }

  int quality() const {
    constexpr double usual = 0.9;
    const Value* asked = find(properties_, "kCGImageDestinationLossyCompressionQuality");
    return jpegQuality(asked ? asked->numberValue().value_or(usual) : usual);
  }

  Data data_;
  PictureFormat format_;
  ImageFiles::Observer observer_;
  ThreadBudget threads_;
  std::size_t added_ = 0;
  std::shared_ptr<const LazyImage> source_;
  Dictionary properties_;
  bool finalized_ = false;
};

class EncodedSource final : public CGImageSource {
 public:
  explicit EncodedSource(const Data& data) : header_(readHeader(data.bytes()).value()) {}
  std::optional<std::string> type() const override {
    if (!header_) return std::nullopt;
    return std::string(typeIdentifier(header_->format));
  }

 private:
  std::optional<PictureHeader> header_;
};

}  // namespace

std::unique_ptr<CGImageSource> ImageFiles::CGImageSourceCreateWithData(const Data& data) {
  if (data.empty()) return nullptr;
  return std::make_unique<EncodedSource>(data);
}

std::unique_ptr<CGImageDestination> ImageFiles::CGImageDestinationCreateWithData(
    const Data& data, std::string_view type, std::size_t count) {
  if (count != 1) return nullptr;
  for (const auto format : {PictureFormat::jpeg, PictureFormat::png})
    if (type == typeIdentifier(format))
      return std::make_unique<Destination>(data, format, observer_, threads_);
  return nullptr;
}

std::optional<Dictionary> ImageFiles::CIImageProperties(const Data& data) {
  return readProperties(data);
}

}  // namespace vecamera::device::imaging
