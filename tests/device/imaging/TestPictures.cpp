#include "tests/device/imaging/TestPictures.h"

#include <webp/encode.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>

#include "device/imaging/codecs/ExifOrientation.h"
#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/metadata/Metadata.h"
#include "device/imaging/pipeline/Render.h"
#include "device/imaging/platform/DeviceImage.h"
#include "device/imaging/platform/ImageFactory.h"
#include "device/imaging/png/PngCodec.h"

namespace vecamera::device::imaging {
namespace {

constexpr std::array<std::pair<char, Rgba>, 9> letters{{{'R', {255, 0, 0}},
                                                        {'G', {0, 255, 0}},
                                                        {'B', {0, 0, 255}},
                                                        {'C', {0, 255, 255}},
                                                        {'M', {255, 0, 255}},
                                                        {'Y', {255, 255, 0}},
                                                        {'K', {0, 0, 0}},
                                                        {'W', {255, 255, 255}},
                                                        {'.', {0, 0, 0, 0}}}};

char letterOf(const Rgba& color) {
  for (const auto& [letter, full] : letters) {
    constexpr int near = 24;
    if (std::abs(color.red - full.red) < near && std::abs(color.green - full.green) < near &&
        std::abs(color.blue - full.blue) < near && std::abs(color.alpha - full.alpha) < near)
      return letter;
  }
  return '?';
}

EncodedBytes orientationBlock(UIImageOrientation orientation) {
  if (orientation == UIImageOrientation::up) return {};
  return exifWithOrientation(exifOrientation(orientation));
}

}  // namespace

Rgba pixelAt(const Bitmap& bitmap, std::size_t x, std::size_t y) {
  const std::uint8_t* bytes = bitmap.bytesOfRow(y) + 4 * x;
  return {bytes[0], bytes[1], bytes[2], bytes[3]};
}

Bitmap bitmapOf(std::size_t width, std::size_t height,
                const std::function<Rgba(std::size_t x, std::size_t y)>& color) {
  Bitmap bitmap = *Bitmap::uninitialized(width, height);
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x) {
      const Rgba pixel = color(x, y);
      const int channels[] = {pixel.red, pixel.green, pixel.blue, pixel.alpha};
      for (std::size_t i = 0; i < 4; ++i)
        bitmap.bytesOfRow(y)[4 * x + i] = static_cast<std::uint8_t>(channels[i]);
    }
  }
  return bitmap;
}

Bitmap noisyPicture(std::size_t width, std::size_t height, bool withAlpha) {
  std::mt19937 random(3);
  return bitmapOf(width, height, [&](std::size_t x, std::size_t y) {
    const int alpha = withAlpha ? static_cast<int>(random() % 256) : 255;
    const auto color = [&](std::size_t base) {
      return static_cast<int>((base + random() % 40) % 256) * alpha / 255;
    };
    return Rgba{color(x), color(y), color(x + y), alpha};
  });
}

Bitmap bitmapOfLetters(std::string_view rows, std::size_t pixelsPerLetter) {
  const std::size_t across = std::min(rows.find('/'), rows.size());
  const std::size_t down = (rows.size() + 1) / (across + 1);
  return bitmapOf(
      across * pixelsPerLetter, down * pixelsPerLetter, [&](std::size_t x, std::size_t y) {
        const char wanted = rows[y / pixelsPerLetter * (across + 1) + x / pixelsPerLetter];
        return std::find_if(letters.begin(), letters.end(),
                            [&](const auto& entry) { return entry.first == wanted; })
            ->second;
      });
}

std::string lettersOf(const Bitmap& bitmap, std::size_t pixelsPerLetter) {
  std::string rows;
  for (std::size_t y = pixelsPerLetter / 2; y < bitmap.height(); y += pixelsPerLetter) {
    if (!rows.empty()) rows += '/';
    for (std::size_t x = pixelsPerLetter / 2; x < bitmap.width(); x += pixelsPerLetter)
      rows += letterOf(pixelAt(bitmap, x, y));
  }
  return rows;
}

std::string lettersOf(const std::shared_ptr<UIImage>& image, std::size_t pixelsPerLetter) {
  if (!image) return "no picture";
  const auto pixels = render(*lazyImageOf(image.get()));
  return pixels ? lettersOf(*pixels, pixelsPerLetter) : "no pixels";
}

Data pngOf(const Bitmap& bitmap, UIImageOrientation orientation) {
  auto png = *encodePngBitmap(bitmap);
  if (orientation != UIImageOrientation::up)
    png = *embedExif(png, pngFormat, orientationBlock(orientation));
  return Data(std::move(png));
}

Data jpegOf(const Bitmap& bitmap, UIImageOrientation orientation, int quality) {
  return Data(*encodeJpegBitmap(bitmap, quality, orientationBlock(orientation)));
}

Data webpOf(const Bitmap& bitmap) {
  std::uint8_t* encoded = nullptr;
  const std::size_t size = WebPEncodeLosslessRGBA(
      bitmap.bytesOfRow(0), static_cast<int>(bitmap.width()), static_cast<int>(bitmap.height()),
      static_cast<int>(bitmap.strideBytes()), &encoded);
  const Data data = Data::copyOf(Bytes(encoded, size));
  WebPFree(encoded);
  return data;
}

Data fixture(std::string_view name) {
  std::ifstream file(VECAMERA_SOURCE_DIR "/tests/device/imaging/fixtures/" + std::string(name),
                     std::ios::binary);
  return Data(std::vector<std::uint8_t>(std::istreambuf_iterator<char>(file), {}));
}

std::shared_ptr<UIImage> opened(const Data& data) {
  return ImageFactory().imageWithData(data);
}

Bitmap pixelsOfImage(const std::shared_ptr<UIImage>& image) {
  return *render(*lazyImageOf(image.get()));
}

int largestDifference(const Bitmap& a, const Bitmap& b) {
  int largest = 0;
  for (std::size_t y = 0; y < a.height(); ++y)
    for (std::size_t i = 0; i < a.strideBytes(); ++i)
      largest = std::max(largest, std::abs(a.bytesOfRow(y)[i] - b.bytesOfRow(y)[i]));
  return largest;
}

}  // namespace vecamera::device::imaging
