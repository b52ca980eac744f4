#include <cmath>
#include <numbers>

#include "device/imaging/platform/ImageFactory.h"
#include "tests/device/imaging/TestJpegs.h"

namespace vecamera::device::imaging {
namespace {

/// A zone plate: its frequency grows with the distance from the centre.
namespace plate {

constexpr std::size_t side = 640;
constexpr double grey = 128;
constexpr double amplitude = 100;

/// The value of the plate at a place, about its grey.
double plateValue(double x, double y) {
  const double dx = x - side / 2.0;
  const double dy = y - side / 2.0;
  return amplitude * std::cos(std::numbers::pi * (dx * dx + dy * dy) / side);
}

/// Its pixels: `color` makes one of the plate's value.
template <typename Color>
Bitmap inColor(Color color) {
  return bitmapOf(side, side, [&](std::size_t x, std::size_t y) {
    return color(plateValue(static_cast<double>(x) + 0.5, static_cast<double>(y) + 0.5));
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
/// its frequency there: in periods for a pixel of the result. Nyquist's is a half.
/// From one pixel to the next the frequency changes by `side / length^2`.
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

/// What is left of frequencies that should be gone.
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

int level(double value) {
  return static_cast<int>(std::lround(value));
}

TEST(EncodeAliasingTest, LumaAboveNyquistBecomesEvenAndNothingMoves) {
  const Bitmap zonePlate = plate::inColor([](double part) {
    const int value = level(plate::grey + part);
    return Rgba{value, value, value};
  });
  const auto aliasingIn = [](const Bitmap& scaled, double length) {
    plate::Aliasing aliasing;
    // The kernel reaches over three pixels of the result on either side.
    const double reach = 3 * plate::side / (length * length);
    plate::visit(scaled, length, [&](const Rgba& pixel, double x, double y, double frequency) {
      if (frequency - reach > 0.75) aliasing.add(pixel.green - plate::grey);
      if (frequency < 0.12 && frequency + reach < 0.75) {
        // Up to 0.12, a quarter of Nyquist's, the kernel keeps the amplitude within 0.4 percent, so
        // what differs is a shift. One by 0.21 of a pixel changes the plate at this frequency by up
        // to 2 pi * 0.12 * 0.21 = 0.16 of its amplitude. Nothing moves further.
        EXPECT_NEAR(pixel.green - plate::grey, plate::plateValue(x, y), 0.16 * plate::amplitude)
            << x << ", " << y;
      }
    });
    EXPECT_GT(aliasing.count, 0);
    return aliasing;
  };
  // What the Lanczos kernel with three lobes passes at most from a frequency of 0.75 on: the
  // largest value of its Fourier transform there.
  constexpr double stopBand = 0.0114;
  // A block of a JPEG that is decoded to fewer samples aliases. One percent of the amplitude for
  // luma and two for chroma, as root mean square, are the requirement by which the decoder's
  // samples for a pixel of the result are chosen. Rounding is independent of it.
  const double ofCoarseDecoding = std::hypot(0.01 * plate::amplitude, 1 / std::sqrt(12));
  const auto png = opened(pngOf(zonePlate, UIImageOrientation::left));
  const auto jpeg = opened(jpegWith(zonePlate, TJSAMP_420, UIImageOrientation::right));
  for (const double length : {39.5, 56.0, 57.0, 60.0, 75.0, 84.0, 100.0, 122.0, 128.0, 130.0, 150.5,
                              180.0, 230.0, 311.0}) {
    SCOPED_TRACE(length);
    // Every pixel of the PNG is decoded, so only the kernel counts, and rounding by a level.
    EXPECT_LE(aliasingIn(pixelsOfImage(plate::scaledTo(length, png)), length).max,
              stopBand * plate::amplitude + 1);
    for (const Bitmap& scaled :
         {pixelsOfImage(plate::scaledTo(length, jpeg)), plate::jpegScaledTo(length, jpeg, 1)})
      EXPECT_LE(aliasingIn(scaled, length).rootMeanSquare(), ofCoarseDecoding);
  }
}

TEST(EncodeAliasingTest, ChromaAboveNyquistBecomesEven) {
  // A blue plate of even luma: green has 0.587 of it and blue 0.114, and the ratio is 0.194.
  const Bitmap zonePlate = plate::inColor([](double part) {
    return Rgba{level(plate::grey), level(plate::grey - 0.194 * part), level(plate::grey + part)};
  });
  for (const auto sampling : {TJSAMP_444, TJSAMP_422, TJSAMP_420}) {
    const auto image = opened(jpegWith(zonePlate, sampling, UIImageOrientation::right));
    // The highest frequency that is tried, in periods for a pixel. Subsampled chroma is stored up
    // to 0.25; within the two pixels of the result that hold nearly all of the kernel's weight, the
    // frequency changes by up to 0.05.
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
        // Two percent is the requirement, as for luma; half a level is for rounding in the encoder.
        EXPECT_LE(aliasing.rootMeanSquare(), 0.02 * plate::amplitude + 0.5)
            << sampling << ", " << quality << " to " << length;
      }
  }
}

}  // namespace
}  // namespace vecamera::device::imaging
