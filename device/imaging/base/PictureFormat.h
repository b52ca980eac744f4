#pragma once

#include <cstdint>
#include <span>

#include "VECamera/platform/UIKit.h"

namespace vecamera::device::imaging {

/// A view of bytes.
using Bytes = std::span<const std::uint8_t>;

/// The bytes of an encoded picture, or of a block inside of one.
using EncodedBytes = std::vector<std::uint8_t>;

/// A format that pictures are encoded in. Each codec declares its own; Codecs.cpp lists them.
struct PictureFormat {
  /// As people write it: "JPEG".
  std::string_view name;
  /// The platform's uniform type identifier.
  std::string_view typeIdentifier;
  /// Lower case, without a dot.
  std::string_view fileExtension;
  std::string_view mediaType;

  friend bool operator==(const PictureFormat& a, const PictureFormat& b) {
    return a.typeIdentifier == b.typeIdentifier;
  }
};

enum class ColorModel { rgb, gray, cmyk };

/// What is read of an encoded picture without decoding its pixels.
struct PictureHeader {
  PictureFormat format;
  /// The sides as stored, in pixels, before the orientation is applied.
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  UIImageOrientation orientation = UIImageOrientation::up;
  bool hasAlpha = false;
  ColorModel colorModel = ColorModel::rgb;
  int bitsPerChannel = 8;
  /// Pixels per inch where the file states them outside of its Exif block, else 0.
  double dpiX = 0;
  double dpiY = 0;
  /// The Exif block from its TIFF header on; empty where there is none.
  EncodedBytes exif;
  /// An ICC profile of RGB colours; empty where there is none.
  EncodedBytes profile;
};

/// What a picture may claim before it is refused.
struct PictureLimits {
  std::uint64_t maxPixels = 400'000'000;

  bool allow(std::uint64_t width, std::uint64_t height) const {
    // No format here goes past 2^31 on a side, which also keeps the product from overflowing.
    constexpr std::uint64_t maxSide = 0x7FFFFFFF;
    return width > 0 && height > 0 && width <= maxSide && height <= maxSide &&
           width * height <= maxPixels;
  }
};

}  // namespace vecamera::device::imaging
