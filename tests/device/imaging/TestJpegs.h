#pragma once

// jpeglib.h needs those before it.
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>
#include <turbojpeg.h>

#include <functional>
#include <utility>

#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device::imaging {

struct Sampling {
  const char* name;
  TJSAMP value;
};

inline constexpr Sampling samplings[] = {{"4:2:0", TJSAMP_420}, {"4:2:2", TJSAMP_422},
                                         {"4:4:0", TJSAMP_440}, {"4:1:1", TJSAMP_411},
                                         {"4:4:4", TJSAMP_444}, {"grey", TJSAMP_GRAY}};

Data jpegWith(const Bitmap& bitmap, TJSAMP sampling, UIImageOrientation orientation);

/// A JPEG of rows that libjpeg takes in that form. `configure` changes what it writes, whose
/// default is a quality of 97.
Data jpegOfRows(std::size_t width, std::size_t height, int components, J_COLOR_SPACE colors,
                const std::function<void(jpeg_compress_struct&)>& configure,
                const std::function<const std::uint8_t*(std::size_t y)>& row);

/// The sampling factors, across and down, of each component.
struct Factors {
  std::pair<int, int> luma{1, 1};
  std::pair<int, int> blue{1, 1};
  std::pair<int, int> red{1, 1};
};

enum class Scans { one, progressive, oneOfEachComponent };

Data jpegOfFactors(const Bitmap& bitmap, ColorModel colors, const Factors& factors,
                   Scans scans = Scans::one);

/// Colours that change slowly, under luma with detail; no side or corner is like another.
Bitmap landscape(std::size_t width, std::size_t height);

std::shared_ptr<UIImage> drawn(const std::shared_ptr<UIImage>& image, CGSize canvas,
                               const CGRect& rect);
/// On a canvas of its own size.
std::shared_ptr<UIImage> drawnAtOwnSize(const std::shared_ptr<UIImage>& image);

double meanDifference(const Bitmap& a, const Bitmap& b);

/// Whatever path is taken, the JPEG shows what the canvas of pixels gives to the encoder: no
/// channel differs by more than `max`, all of them by no more than `mean` on average.
void expectSamePicture(const std::shared_ptr<UIImage>& image, double quality, int max, double mean);

}  // namespace vecamera::device::imaging
