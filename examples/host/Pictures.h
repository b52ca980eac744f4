#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "VECamera/platform/ImageIO.h"
#include "VECamera/platform/UIKit.h"

// Pictures in memory. This host encodes PNG without compression and nothing else: JPEG, decoding
// and drawing are answered as what cannot be had.

namespace host {

namespace vc = vecamera;

/// Rows of red, green and blue, without padding.
class Bitmap : public vc::CGImage {
 public:
  Bitmap(std::uint32_t width, std::uint32_t height, std::vector<std::uint8_t> pixels)
      : width_(width), height_(height), pixels_(std::move(pixels)) {}
  std::size_t width() const override { return width_; }
  std::size_t height() const override { return height_; }

  /// The bitmap as PNG (RFC 2083), with stored blocks (RFC 1951, section 3.2.4).
  vc::Data png() const {
    Bytes rows;
    const std::size_t stride = std::size_t{width_} * 3;
    for (std::size_t y = 0; y < height_; ++y) {
      rows.push_back(0);  // no filter
      const auto row = pixels_.begin() + static_cast<std::ptrdiff_t>(y * stride);
      rows.insert(rows.end(), row, row + static_cast<std::ptrdiff_t>(stride));
    }
    Bytes zlib{0x78, 0x01};
    for (std::size_t at = 0; at < rows.size();) {
      const auto length =
          static_cast<std::uint16_t>(std::min<std::size_t>(0xFFFF, rows.size() - at));
      const auto inverted = static_cast<std::uint16_t>(~length);
      const bool isLast = at + length == rows.size();
      for (const int byte : {int{isLast}, length & 255, length >> 8, inverted & 255, inverted >> 8})
        zlib.push_back(static_cast<std::uint8_t>(byte));
      const auto block = rows.begin() + static_cast<std::ptrdiff_t>(at);
      zlib.insert(zlib.end(), block, block + length);
      at += length;
    }
    appendNumber(zlib, adler32(rows));

    Bytes header;
    appendNumber(header, width_);
    appendNumber(header, height_);
    header.insert(header.end(), {8, 2, 0, 0, 0});  // eight bits, RGB, not interlaced
    Bytes file{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    appendChunk(file, "IHDR", header);
    appendChunk(file, "IDAT", zlib);
    appendChunk(file, "IEND", {});
    return vc::Data(std::move(file));
  }

 private:
  using Bytes = std::vector<std::uint8_t>;

  static void appendNumber(Bytes& bytes, std::uint32_t number) {
    for (const int shift : {24, 16, 8, 0})
      bytes.push_back(static_cast<std::uint8_t>(number >> shift));
  }
  static void appendChunk(Bytes& file, std::string_view type, const Bytes& contents) {
    appendNumber(file, static_cast<std::uint32_t>(contents.size()));
    const auto start = static_cast<std::ptrdiff_t>(file.size());
    file.insert(file.end(), type.begin(), type.end());
    file.insert(file.end(), contents.begin(), contents.end());
    std::uint32_t crc = 0xFFFFFFFF;
    for (auto byte = file.begin() + start; byte != file.end(); ++byte) {
      crc ^= *byte;
      for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320 : 0);
    }
    appendNumber(file, ~crc);
  }
  static std::uint32_t adler32(const Bytes& bytes) {
    std::uint32_t a = 1;
    std::uint32_t b = 0;
    for (const auto byte : bytes) {
      a = (a + byte) % 65521;
      b = (b + a) % 65521;
    }
    return b << 16 | a;
  }

  const std::uint32_t width_;
  const std::uint32_t height_;
  const Bytes pixels_;
};

/// An upright picture of one pixel a point.
class Picture : public vc::UIImage {
 public:
  explicit Picture(std::shared_ptr<const Bitmap> bitmap) : bitmap_(std::move(bitmap)) {}
  vc::CGSize size() const override {
    return {static_cast<double>(bitmap_->width()), static_cast<double>(bitmap_->height())};
  }
  vc::UIImageOrientation imageOrientation() const override { return vc::UIImageOrientation::up; }
  double scale() const override { return 1; }
  std::shared_ptr<const vc::CGImage> cgImage() const override { return bitmap_; }
  vc::Data png() const { return bitmap_->png(); }

 private:
  const std::shared_ptr<const Bitmap> bitmap_;
};

/// A context of a size that cannot be had, which is every size here.
class NoImageContext : public vc::UIGraphicsImageContext {
 public:
  vc::CGContext* currentContext() override { return nullptr; }
  void drawInRect(const std::shared_ptr<vc::UIImage>& /*image*/,
                  const vc::CGRect& /*rect*/) override {}
  std::shared_ptr<vc::UIImage> imageFromCurrentImageContext() override { return nullptr; }
};

class Graphics : public vc::UIGraphics {
 public:
  std::unique_ptr<vc::UIGraphicsImageContext> beginImageContext(vc::CGSize /*size*/) override {
    return std::make_unique<NoImageContext>();
  }
};

class Images : public vc::UIImages {
 public:
  std::shared_ptr<vc::UIImage> imageWithData(const vc::Data& /*data*/) override { return nullptr; }
  std::optional<vc::Data> UIImageJPEGRepresentation(const std::shared_ptr<vc::UIImage>& /*image*/,
                                                    double /*compressionQuality*/) override {
    return std::nullopt;
  }
  std::optional<vc::Data> UIImagePNGRepresentation(
      const std::shared_ptr<vc::UIImage>& image) override {
    const auto picture = std::dynamic_pointer_cast<Picture>(image);
    return picture ? std::optional(picture->png()) : std::nullopt;
  }
};

class ImageIO : public vc::ImageIO {
 public:
  std::unique_ptr<vc::CGImageSource> CGImageSourceCreateWithData(
      const vc::Data& /*data*/) override {
    return nullptr;
  }
  std::unique_ptr<vc::CGImageDestination> CGImageDestinationCreateWithData(
      const vc::Data& /*data*/, std::string_view /*type*/, std::size_t /*count*/) override {
    return nullptr;
  }
  std::optional<vc::Dictionary> CIImageProperties(const vc::Data& /*data*/) override {
    return std::nullopt;
  }
};

}  // namespace host
