#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "device/imaging/base/ImageResult.h"

namespace vecamera::device::imaging {

using ColorProfile = std::shared_ptr<const std::vector<std::uint8_t>>;

/// Multiplies the colours by their alpha.
void premultiplyPixels(std::uint32_t* pixels, std::size_t count);

/// Pixels in memory: rows from the top, four bytes a pixel (red, green, blue, alpha), eight bits
/// each, colours premultiplied by alpha. Grey, palette, CMYK and deeper sources are brought to this
/// one form when they are decoded.
class Bitmap {
 public:
  /// Without initial contents. `outOfMemory`, also where a side is zero.
  static ImageResult<Bitmap> uninitialized(std::size_t width, std::size_t height);
  /// All pixels transparent.
  static ImageResult<Bitmap> transparent(std::size_t width, std::size_t height);

  std::size_t width() const { return width_; }
  std::size_t height() const { return height_; }
  std::size_t strideBytes() const { return width_ * 4; }

  /// The pixels of a row as words that hold the four bytes in memory order.
  std::uint32_t* row(std::size_t y) { return pixels_.get() + y * width_; }
  const std::uint32_t* row(std::size_t y) const { return pixels_.get() + y * width_; }
  std::uint8_t* bytesOfRow(std::size_t y) { return reinterpret_cast<std::uint8_t*>(row(y)); }
  const std::uint8_t* bytesOfRow(std::size_t y) const {
    return reinterpret_cast<const std::uint8_t*>(row(y));
  }

  /// True when every pixel is known to be opaque; false says nothing.
  bool isKnownOpaque() const { return isKnownOpaque_; }
  void setKnownOpaque(bool opaque) { isKnownOpaque_ = opaque; }
  /// Looks at the pixels where need be.
  bool isOpaque() const;

  /// The ICC profile of the colours; null stands for sRGB.
  const ColorProfile& profile() const { return profile_; }
  void setProfile(ColorProfile profile) { profile_ = std::move(profile); }

  void premultiply() { premultiplyPixels(row(0), width_ * height_); }
  /// Limits every colour to its alpha, which the overshoot of a filter may exceed.
  void clampToAlpha();

 private:
  Bitmap(std::size_t width, std::size_t height, std::unique_ptr<std::uint32_t[]> pixels)
      : width_(width), height_(height), pixels_(std::move(pixels)) {}

  std::size_t width_;
  std::size_t height_;
  std::unique_ptr<std::uint32_t[]> pixels_;
  bool isKnownOpaque_ = false;
  ColorProfile profile_;
};

/// a * b / 255, rounded to the nearest.
constexpr std::uint8_t multiplyDiv255(unsigned a, unsigned b) {
  const unsigned product = a * b + 128;
  return static_cast<std::uint8_t>((product + (product >> 8)) >> 8);
}

}  // namespace vecamera::device::imaging
