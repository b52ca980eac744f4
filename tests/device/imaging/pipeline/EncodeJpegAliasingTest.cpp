#include <cmath>
#include <numbers>

#include "device/imaging/platform/ImageFactory.h"
#include "tests/device/imaging/TestJpegs.h"

namespace vecamera::device::imaging {
namespace {

/// A zone plate: the frequency of its rings grows with the distance from the centre. Their
/// amplitude is 100, so that what is left of them is in percent.
namespace plate {

constexpr std::size_t side = 640;
constexpr double grey = 127.5;

/// The rings at a place.
double ring(double x, double y) {
  const double dx = x - side / 2.0;
  const double dy = y - side / 2.0;
  return 100 * std::cos(std::numbers::pi * (dx * dx + dy * dy) / side);
}

/// Its pixels: `color` makes one of the value of the rings.
template <typename Color>
Bitmap inColor(Color color) {
  return bitmapOf(side, side, [&](std::size_t x, std::size_t y) {
    return color(ring(static_cast<double>(x) + 0.5, static_cast<double>(y) + 0.5));
  });
}

std::shared_ptr<UIImage> scaledTo(double length, const std::shared_ptr<UIImage>& image) {
  return drawn(image, {length, length}, {0, 0, length, length});
}

Bitmap jpegScaledTo(double length, const std::shared_ptr<UIImage>& image, double quality) {
  return pixelsOfImage(
      opened(*ImageFactory().UIImageJPEGRepresentation(scaledTo(length, image), quality)));
}

/// Visits the pixels of a scaled plate, but for its edges, with their places on the whole one and
/// the frequency of the rings there: in periods for a pixel of the result. Nyquist's is a half.
template <typename Visit>
void visit(const Bitmap& scaled, double length, Visit visitor) {
  const double factor = length / side;
  for (std::size_t y = 4; y + 5 < scaled.height(); ++y)
    for (std::size_t x = 4; x + 5 < scaled.width(); ++x) {
      const double fromX = (static_cast<double>(x) + 0.5) / factor;
      const double fromY = (static_cast<double>(y) + 0.5) / factor;
      const double distance = std::max(std::abs(fromX - side / 2.0), std::abs(fromY - side / 2.0));
      visitor(pixelAt(scaled, x, y), fromX, fromY, distance / side / factor);
    }
}

/// What is left of rings that should be gone.
struct Aliasing {
  double max = 0;
  double squares = 0;
  int count = 0;

  void add(double part) {
    max = std::max(max, std::abs(part));
    squares += part * part;
    ++count;
  }
  double rootMeanSquare() const { return std::sqrt(squares / count); }
};

}  // namespace plate

TEST(EncodeJpegAliasingTest, LumaAboveNyquistBecomesEvenAndNothingMoves) {
  const Bitmap rings = plate::inColor([](double part) {
    const int value = static_cast<int>(plate::grey + part);
    return Rgba{value, value, value};
  });
  const auto aliasingIn = [](const Bitmap& scaled, double length) {
    plate::Aliasing aliasing;
    plate::visit(scaled, length, [&](const Rgba& pixel, double x, double y, double frequency) {
      if (frequency > 0.75) aliasing.add(pixel.green - plate::grey);
      if (frequency < 0.12) {
        // A shift by 0.21 of a pixel changes rings of this frequency by up to
        // 2 pi * 0.12 * 0.21 = 0.16 of their amplitude. Nothing moves further.
        EXPECT_NEAR(pixel.green - plate::grey, plate::ring(x, y), 16) << x << ", " << y;
      }
    });
    EXPECT_GT(aliasing.count, 0);
    return aliasing;
  };
  const auto png = opened(pngOf(rings, UIImageOrientation::left));
  const auto jpeg = opened(jpegWith(rings, TJSAMP_420, UIImageOrientation::right));
  const auto expectAtMost = [](const plate::Aliasing& aliasing, double max, double onAverage) {
    EXPECT_LE(aliasing.max, max);
    EXPECT_LE(aliasing.rootMeanSquare(), onAverage);
  };
  for (const double length : {39.5, 56.0, 57.0, 60.0, 75.0, 84.0, 100.0, 122.0, 128.0, 130.0, 150.5,
                              180.0, 230.0, 311.0}) {
    SCOPED_TRACE(length);
    const auto whole = aliasingIn(plate::jpegScaledTo(length, png, 0.95), length);
    const auto scaled = aliasingIn(plate::jpegScaledTo(length, jpeg, 0.95), length);
    const auto onCanvas = aliasingIn(pixelsOfImage(plate::scaledTo(length, jpeg)), length);
    // Every pixel of the PNG is decoded, so that only the resampler's filter counts: it leaves a
    // hundredth on average, and a seventh nowhere. The kernel reaches over three pixels of the
    // result, and the frequency changes by 640 / length^2 from one to the next. So this is true
    // only from a length of 100 on, where all that the kernel sees is above Nyquist.
    if (length >= 100) expectAtMost(whole, 14, 1);
    // The JPEG is shrunk by the decoder first, each block by itself. This may add six hundredths
    // anywhere, and three quarters of a hundredth on average, ...
    for (const auto& aliasing : {scaled, onCanvas}) {
      expectAtMost(aliasing, whole.max + 6, whole.rootMeanSquare() + 0.75);
      // ... and where the kernel sees lower frequencies, too, in all no more than 34 hundredths of
      // the amplitude anywhere and 3.5 on average.
      expectAtMost(aliasing, 34, 3.5);
    }
    // Here blocks are decoded to six samples or to all eight, which adds nothing.
    if (length == 128 || length > 150) expectAtMost(scaled, 14, 1);
  }
}

TEST(EncodeJpegAliasingTest, ChromaAboveNyquistBecomesEven) {
  // Blue rings of even luma.
  const Bitmap rings = plate::inColor([](double part) {
    return Rgba{static_cast<int>(plate::grey), static_cast<int>(plate::grey - 0.194 * part),
                static_cast<int>(plate::grey + part)};
  });
  for (const auto sampling : {TJSAMP_444, TJSAMP_422, TJSAMP_420}) {
    const auto image = opened(jpegWith(rings, sampling, UIImageOrientation::right));
    // The highest frequency that stored chroma can hold, in periods for a stored pixel.
    const double maxStored = sampling == TJSAMP_444 ? 0.5 : 0.2;
    // Half more than Nyquist; below the best quality, chroma has half of the pixels.
    for (const auto& [quality, aboveNyquist] : {std::pair{0.95, 0.375}, std::pair{1.0, 0.75}})
      for (const double length : {39.5, 45.0, 70.0, 79.0, 107.0, 122.0, 168.0}) {
        plate::Aliasing aliasing;
        plate::visit(
            plate::jpegScaledTo(length, image, quality), length,
            [&, first = aboveNyquist](const Rgba& pixel, double, double, double frequency) {
              if (frequency > first && frequency * length / plate::side < maxStored)
                aliasing.add(pixel.blue - plate::grey);
            });
        if (aliasing.count == 0) continue;
        // Two hundredths, and half of one for rounding in the encoder.
        EXPECT_LE(aliasing.rootMeanSquare(), 2.5)
            << sampling << ", " << quality << " to " << length;
      }
  }
}

}  // namespace
}  // namespace vecamera::device::imaging
