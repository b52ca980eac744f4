#include "device/imaging/base/Bitmap.h"

#include <algorithm>
#include <limits>
#include <new>

namespace vecamera::device::imaging {

ImageResult<Bitmap> Bitmap::uninitialized(std::size_t width, std::size_t height) {
  constexpr std::size_t maxPixels = std::numeric_limits<std::size_t>::max() / sizeof(std::uint32_t);
  if (width == 0 || height == 0 || height > maxPixels / width)
    return Failure(ImageError::outOfMemory);
  std::unique_ptr<std::uint32_t[]> pixels(new (std::nothrow) std::uint32_t[width * height]);
  if (!pixels) return Failure(ImageError::outOfMemory);
  return Bitmap(width, height, std::move(pixels));
}

ImageResult<Bitmap> Bitmap::transparent(std::size_t width, std::size_t height) {
  auto bitmap = uninitialized(width, height);
  if (bitmap) std::fill_n(bitmap->row(0), width * height, 0);
  return bitmap;
}

bool Bitmap::isOpaque() const {
  if (isKnownOpaque_) return true;
  for (std::size_t y = 0; y < height_; ++y) {
    const std::uint8_t* bytes = bytesOfRow(y);
    std::uint8_t all = 255;
    for (std::size_t x = 0; x < width_; ++x) all &= bytes[4 * x + 3];
    if (all != 255) return false;
  }
  return true;
}

void premultiplyPixels(std::uint32_t* pixels, std::size_t count) {
  auto* bytes = reinterpret_cast<std::uint8_t*>(pixels);
  for (std::size_t i = 0; i < count; ++i, bytes += 4) {
    const unsigned alpha = bytes[3];
    if (alpha == 255) continue;
    for (int channel = 0; channel < 3; ++channel)
      bytes[channel] = multiplyDiv255(bytes[channel], alpha);
  }
}

void Bitmap::clampToAlpha() {
  std::uint8_t* bytes = bytesOfRow(0);
  for (std::size_t i = 0; i < width_ * height_; ++i, bytes += 4)
    for (int channel = 0; channel < 3; ++channel)
      bytes[channel] = std::min(bytes[channel], bytes[3]);
}

}  // namespace vecamera::device::imaging
