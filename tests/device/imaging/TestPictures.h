#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "VECamera/platform/UIKit.h"
#include "device/imaging/base/Bitmap.h"
#include "device/imaging/codecs/Codecs.h"

namespace vecamera::device::imaging {

/// A pixel as read back, premultiplied.
struct Rgba {
  int red = 0;
  int green = 0;
  int blue = 0;
  int alpha = 255;
  friend bool operator==(const Rgba&, const Rgba&) = default;
};

Rgba pixelAt(const Bitmap& bitmap, std::size_t x, std::size_t y);

/// A bitmap whose pixels the function gives, premultiplied.
Bitmap bitmapOf(std::size_t width, std::size_t height,
                const std::function<Rgba(std::size_t x, std::size_t y)>& color);

/// Colours that change slowly with a little noise, and alpha at random or opaque.
Bitmap noisyPicture(std::size_t width, std::size_t height, bool withAlpha);

/// Small pictures are written as letters, rows parted by "/": R, G, B, C, M, Y for the full
/// colours, K and W for black and white, "." for a transparent pixel.
Bitmap bitmapOfLetters(std::string_view rows, std::size_t pixelsPerLetter = 1);
/// Reads one pixel amid every square of `pixelsPerLetter`; a pixel that is near no colour is "?".
std::string lettersOf(const Bitmap& bitmap, std::size_t pixelsPerLetter = 1);
std::string lettersOf(const std::shared_ptr<UIImage>& image, std::size_t pixelsPerLetter = 1);

Data pngOf(const Bitmap& bitmap, UIImageOrientation orientation = UIImageOrientation::up);
Data jpegOf(const Bitmap& bitmap, UIImageOrientation orientation = UIImageOrientation::up,
            int quality = 100);
Data webpOf(const Bitmap& bitmap);
/// The picture in tests/device/imaging/fixtures.
Data fixture(std::string_view name);

std::shared_ptr<UIImage> opened(const Data& data);
/// The stored pixels, which have to be there.
Bitmap pixelsOfImage(const std::shared_ptr<UIImage>& image);
/// The largest difference of any channel, of two bitmaps of the same size.
int largestDifference(const Bitmap& a, const Bitmap& b);

inline constexpr UIImageOrientation allOrientations[] = {
    UIImageOrientation::up,           UIImageOrientation::down,
    UIImageOrientation::left,         UIImageOrientation::right,
    UIImageOrientation::upMirrored,   UIImageOrientation::downMirrored,
    UIImageOrientation::leftMirrored, UIImageOrientation::rightMirrored};

}  // namespace vecamera::device::imaging
