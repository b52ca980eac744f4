#include <libdeflate.h>
#include <turbojpeg.h>

#include <cmath>
#include <numbers>
#include <random>

#include "VECamera/imaging/ScalingAndOrientation.h"
#include "device/imaging/Canvas.h"
#include "device/imaging/ExifBlock.h"
#include "device/imaging/Images.h"
#include "device/imaging/JpegCodec.h"
#include "device/imaging/JpegTurn.h"
#include "device/imaging/Pictures.h"
#include "device/imaging/PngCodec.h"
#include "device/imaging/PngRows.h"
#include "device/imaging/PngWriter.h"
#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device {
namespace {

using Raw = std::vector<std::uint8_t>;

struct Sampling {
  const char* name;
  TJSAMP value;
};

constexpr Sampling samplings[] = {{"4:2:0", TJSAMP_420}, {"4:2:2", TJSAMP_422},
                                  {"4:4:0", TJSAMP_440}, {"4:1:1", TJSAMP_411},
                                  {"4:4:4", TJSAMP_444}, {"grey", TJSAMP_GRAY}};

Data jpegWith(const Bitmap& bitmap, TJSAMP sampling, UIImageOrientation orientation) {
  constexpr int quality = 97;
  const tjhandle compressor = tjInitCompress();
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  tjCompress2(compressor, bitmap.bytesOfRow(0), static_cast<int>(bitmap.width()),
              static_cast<int>(bitmap.strideBytes()), static_cast<int>(bitmap.height()), TJPF_RGBX,
              &bytes, &size, sampling, quality, TJFLAG_ACCURATEDCT);
  Raw jpeg(bytes, bytes + size);
  tjFree(bytes);
  tjDestroy(compressor);
  if (orientation != UIImageOrientation::up)
    jpeg = withExif(jpeg, PictureFormat::jpeg, exifWithOrientation(exifOrientation(orientation)))
               .value();
  return Data(std::move(jpeg));
}

/// Colours that change slowly, under a brightness with detail; no side or corner is like another.
Bitmap landscape(std::size_t width, std::size_t height) {
  return bitmapOf(width, height, [&](std::size_t x, std::size_t y) {
    const double u = static_cast<double>(x) / static_cast<double>(width);
    const double v = static_cast<double>(y) / static_cast<double>(height);
    const double detail =
        20 * std::sin(static_cast<double>(x) / 5) * std::cos(static_cast<double>(y) / 7);
    return Rgba{static_cast<int>(40 + 150 * u + detail), static_cast<int>(60 + 130 * v + detail),
                static_cast<int>(200 - 80 * u - 60 * v + detail)};
  });
}

std::shared_ptr<UIImage> drawn(const std::shared_ptr<UIImage>& image, CGSize canvas,
                               const CGRect& rect) {
  Graphics graphics;
  const auto context = graphics.beginImageContext(canvas);
  context->drawInRect(image, rect);
  return context->imageFromCurrentImageContext();
}

double meanDifference(const Bitmap& a, const Bitmap& b) {
  double sum = 0;
  for (std::size_t y = 0; y < a.height(); ++y)
    for (std::size_t i = 0; i < a.strideBytes(); ++i)
      sum += std::abs(a.bytesOfRow(y)[i] - b.bytesOfRow(y)[i]);
  return sum / static_cast<double>(a.strideBytes() * a.height());
}

/// Whatever way is taken, the JPEG shows what the canvas of pixels gives to the encoder.
void expectSamePicture(const std::shared_ptr<UIImage>& image, double quality, int most,
                       double mean) {
  const auto encoded = Images().UIImageJPEGRepresentation(image, quality);
  ASSERT_TRUE(encoded);
  const Bitmap actual = pixelsOfImage(opened(*encoded));
  const Bitmap expected = pixelsOfImage(
      opened(Data(encodeJpeg(pixelsOfImage(image), jpegQuality(quality), {}).value())));
  ASSERT_EQ(actual.width(), expected.width());
  ASSERT_EQ(actual.height(), expected.height());
  EXPECT_LE(largestDifference(actual, expected), most);
  EXPECT_LE(meanDifference(actual, expected), mean);
}

struct Drawn {
  CGSize canvas;
  CGRect rect;
};

// What the plug-in asks for: to fit, to fill and cut, fractions of pixels, and enlarged.
constexpr Drawn drawings[] = {{{120, 80}, {0, 0, 120, 80}},
                              {{61.3, 40.7}, {0, 0, 61.3, 40.7}},
                              {{50, 50}, {-12.5, 0, 75, 50}},
                              {{33, 44}, {0, -2.75, 33, 49.5}},
                              {{260, 190.25}, {0, 0, 260, 190.25}}};

TEST(Roads, PlanesGiveThePictureThatTheCanvasGives) {
  const Bitmap picture = landscape(243, 161);
  for (const auto& [name, sampling] : samplings)
    for (const auto orientation : allOrientations) {
      const auto image = opened(jpegWith(picture, sampling, orientation));
      for (const auto& [canvas, rect] : drawings) {
        SCOPED_TRACE(std::string(name) + ", orientation " +
                     std::to_string(static_cast<int>(orientation)) + ", to " +
                     std::to_string(canvas.width));
        expectSamePicture(drawn(image, canvas, rect), 1.0, 8, 1.2);
        expectSamePicture(drawn(image, canvas, rect), 0.95, 14, 1.2);
      }
    }
}

TEST(Roads, APictureIsTheSameWhateverWayItIsStored) {
  // The same upright picture, stored in all eight ways.
  const Bitmap upright = landscape(240, 160);
  const auto scaled = [](const std::shared_ptr<UIImage>& image) {
    return pixelsOfImage(
        opened(*Images().UIImageJPEGRepresentation(drawn(image, {75, 50}, {0, 0, 75, 50}), 0.9)));
  };
  const Bitmap expected = scaled(opened(jpegWith(upright, TJSAMP_420, UIImageOrientation::up)));
  for (const auto orientation : allOrientations) {
    const auto lying = turned(
        bitmapOf(240, 160, [&](std::size_t x, std::size_t y) { return pixelAt(upright, x, y); }),
        inverse(turnFor(orientation)));
    const Bitmap actual = scaled(opened(jpegWith(*lying, TJSAMP_420, orientation)));
    EXPECT_LE(meanDifference(actual, expected), 0.8) << static_cast<int>(orientation);
  }
}

TEST(Roads, WhatIsTooFineBecomesEvenAndNothingMoves) {
  // A zone plate: its rings get finer with the distance from the centre.
  constexpr std::size_t side = 640;
  const Bitmap plate = bitmapOf(side, side, [](std::size_t x, std::size_t y) {
    const double dx = static_cast<double>(x) + 0.5 - side / 2.0;
    const double dy = static_cast<double>(y) + 0.5 - side / 2.0;
    const int value =
        static_cast<int>(127.5 + 100 * std::cos(std::numbers::pi * (dx * dx + dy * dy) / side));
    return Rgba{value, value, value};
  });
  struct Stored {
    std::shared_ptr<UIImage> image;
    // Of the rings' 100. Coarse decoding takes the low frequencies of each block of 8 pixels by
    // itself, which lets through more than a filter does that sees across them.
    double mostLeft;
    double mostLeftOnAverage;
  };
  const Stored ways[] = {{opened(pngOf(plate, UIImageOrientation::left)), 14, 2},
                         {opened(jpegWith(plate, TJSAMP_420, UIImageOrientation::right)), 50, 16}};
  for (const auto& [image, mostLeft, mostLeftOnAverage] : ways)
    for (const double target : {100.0, 128.0, 150.5, 230.0, 311.0}) {
      const Bitmap scaled = pixelsOfImage(opened(*Images().UIImageJPEGRepresentation(
          drawn(image, {target, target}, {0, 0, target, target}), 0.95)));
      const double factor = target / side;
      double squares = 0;
      int count = 0;
      for (std::size_t y = 4; y + 5 < scaled.height(); ++y)
        for (std::size_t x = 4; x + 5 < scaled.width(); ++x) {
          const double dx = (static_cast<double>(x) + 0.5) / factor - side / 2.0;
          const double dy = (static_cast<double>(y) + 0.5) / factor - side / 2.0;
          // In periods for a pixel of the result; half a period is the finest that it can hold.
          const double fineness = std::max(std::abs(dx), std::abs(dy)) / side / factor;
          const int value = pixelAt(scaled, x, y).green;
          if (fineness > 0.75) {
            ASSERT_NEAR(value, 127.5, mostLeft) << target << " at " << x << ", " << y;
            squares += (value - 127.5) * (value - 127.5);
            ++count;
          } else if (fineness < 0.12) {
            const double ring =
                127.5 + 100 * std::cos(std::numbers::pi * (dx * dx + dy * dy) / side);
            ASSERT_NEAR(value, ring, 16) << target << " at " << x << ", " << y;
          }
        }
      if (count > 0) {
        EXPECT_LE(std::sqrt(squares / count), mostLeftOnAverage) << target;
      }
    }
}

TEST(Roads, TurningBlocksTurnsThePictureAndNothingElse) {
  for (const auto& [name, sampling] : samplings)
    for (const auto orientation : allOrientations)
      // Whole blocks of every sampling, and sides that end inside of a block.
      for (const auto& [width, height] : {std::pair{64u, 96u}, std::pair{75u, 53u}}) {
        SCOPED_TRACE(std::string(name) + ", orientation " +
                     std::to_string(static_cast<int>(orientation)));
        const auto image = opened(jpegWith(landscape(width, height), sampling, orientation));
        const CGSize size = image->size();
        const auto upright = drawn(image, size, {0, 0, size.width, size.height});
        // Upsampling the colours is not quite the same in both directions.
        expectSamePicture(upright, 1.0, 12, 1.0);
      }
}

TEST(Roads, TurnedBlocksComeBackBitForBit) {
  const Data stored = jpegWith(landscape(64, 96), TJSAMP_420, UIImageOrientation::up);
  const auto turn = [](const Data& jpeg, const Turn& by) {
    return Data(turnedJpeg(jpeg.bytes(), readHeader(jpeg.bytes()).value(), by, {}).value());
  };
  const Data plain = turn(stored, {});
  EXPECT_EQ(largestDifference(pixelsOfImage(opened(plain)), pixelsOfImage(opened(stored))), 0);
  for (const auto orientation : allOrientations) {
    const Turn there = turnFor(orientation);
    EXPECT_EQ(turn(turn(stored, there), inverse(there)), plain) << static_cast<int>(orientation);
  }
}

TEST(Roads, AnEditedPictureIsCutBeforeItIsScaled) {
  // Red around a square of blue: what was cut off must not come back through the filter.
  const Bitmap framed = bitmapOf(128, 128, [](std::size_t x, std::size_t y) {
    const bool inside = x >= 32 && x < 96 && y >= 16 && y < 80;
    return inside ? Rgba{0, 0, 255} : Rgba{255, 0, 0};
  });
  Graphics graphics;
  const auto cut = [&](const Data& bytes) {
    return imageByScalingNotCroppingForSize(
        graphics, croppedUpright(opened(bytes), {32, 16, 64, 64}), {24, 24});
  };
  EXPECT_LE(largestDifference(pixelsOfImage(cut(pngOf(framed))), bitmapOf(24, 24,
                                                                          [](auto, auto) {
                                                                            return Rgba{0, 0, 255};
                                                                          })),
            0);
  const auto jpeg = cut(jpegWith(framed, TJSAMP_444, UIImageOrientation::up));
  expectSamePicture(jpeg, 1.0, 6, 1.5);
  EXPECT_LE(pixelAt(pixelsOfImage(jpeg), 0, 0).red, 8);
}

Bitmap noise(std::size_t width, std::size_t height, bool withAlpha) {
  std::mt19937 random(3);
  return bitmapOf(width, height, [&](std::size_t x, std::size_t y) {
    const int alpha = withAlpha ? static_cast<int>(random() % 256) : 255;
    const auto color = [&](std::size_t base) {
      return static_cast<int>((base + random() % 40) % 256) * alpha / 255;
    };
    return Rgba{color(x), color(y), color(x + y), alpha};
  });
}

TEST(Roads, APngHasTheSameBytesWithAnyNumberOfThreads) {
  for (const bool withAlpha : {false, true}) {
    const Bitmap picture = noise(701, 611, withAlpha);
    const auto alone = encodePng(picture, 1).value();
    for (const unsigned threads : {2u, 3u, 8u}) EXPECT_EQ(encodePng(picture, threads), alone);
    const auto header = readHeader(alone).value();
    EXPECT_LE(largestDifference(decodePng(alone, header).value(), picture), withAlpha ? 1 : 0);
  }
}

TEST(Roads, AGreyJpegBecomesAGreyPngAndJpeg) {
  constexpr std::size_t colorTypeOffset = 25;
  const Data grey = jpegWith(landscape(90, 70), TJSAMP_GRAY, UIImageOrientation::left);
  const Data png = Images().UIImagePNGRepresentation(opened(grey)).value();
  EXPECT_EQ(png.bytes()[colorTypeOffset], 0);
  EXPECT_EQ(largestDifference(pixelsOfImage(opened(png)), pixelsOfImage(opened(grey))), 0);
  const auto scaled = drawn(opened(grey), {30, 40}, {0, 0, 30, 40});
  const auto header = readHeader(Images().UIImageJPEGRepresentation(scaled, 0.8)->bytes());
  EXPECT_EQ(header->colorModel, ColorModel::gray);
}

/// Noise as a PNG whose row y has filter y modulo 5, its pixels in chunks of a few bytes.
Data pngOfAllFilters(std::size_t width, std::size_t height, std::uint8_t channels) {
  std::mt19937 random(5);
  const std::size_t rowBytes = width * channels;
  Raw rows;
  for (std::size_t y = 0; y < height; ++y) {
    rows.push_back(static_cast<std::uint8_t>(y % 5));
    for (std::size_t i = 0; i < rowBytes; ++i) rows.push_back(static_cast<std::uint8_t>(random()));
  }
  libdeflate_compressor* compressor = libdeflate_alloc_compressor(6);
  Raw packed(libdeflate_zlib_compress_bound(compressor, rows.size()));
  packed.resize(
      libdeflate_zlib_compress(compressor, rows.data(), rows.size(), packed.data(), packed.size()));
  libdeflate_free_compressor(compressor);
  constexpr std::string_view signature = "\x89PNG\r\n\x1A\n";
  Raw png(signature.begin(), signature.end());
  const std::uint8_t colorType = channels == 3 ? 2 : 6;
  appendPngChunk(png, "IHDR",
                 Raw{0, 0, 0, static_cast<std::uint8_t>(width), 0, 0, 0,
                     static_cast<std::uint8_t>(height), 8, colorType, 0, 0, 0});
  for (std::size_t at = 0; at < packed.size(); at += 777)
    appendPngChunk(png, "IDAT",
                   Bytes(packed).subspan(at, std::min<std::size_t>(777, packed.size() - at)));
  appendPngChunk(png, "IEND", {});
  return Data(std::move(png));
}

TEST(Roads, RowsOfAPngAreWhatTheWholeOneHolds) {
  for (const std::uint8_t channels : {std::uint8_t{3}, std::uint8_t{4}}) {
    const Data png = pngOfAllFilters(201, 103, channels);
    const PictureHeader header = readHeader(png.bytes()).value();
    const auto rows = openPngRows(png.bytes(), header, 1);
    ASSERT_TRUE(rows);
    Bitmap actual = Bitmap::uninitialized(201, 103).value();
    // In pieces that are no strips of the reader's own.
    for (std::size_t y = 0; y < 103; y += 7)
      ASSERT_TRUE(rows->read(actual.row(y), std::min<std::size_t>(7, 103 - y)));
    EXPECT_TRUE(rows->finish());
    EXPECT_EQ(largestDifference(actual, decodePng(png.bytes(), header).value()), 0);
  }
}

TEST(Roads, AHelperUnpacksALargePngToTheSameRows) {
  constexpr std::size_t width = 1400;
  constexpr std::size_t height = 900;
  const auto png = encodePng(noise(width, height, true)).value();
  const PictureHeader header = readHeader(png).value();
  Bitmap actual = Bitmap::uninitialized(width, height).value();
  const auto rows = openPngRows(png, header, 2);
  ASSERT_TRUE(rows && rows->read(actual.row(0), height) && rows->finish());
  EXPECT_EQ(largestDifference(actual, decodePng(png, header).value()), 0);
  // Let go of in the middle, and damaged in the middle.
  const auto left = openPngRows(png, header, 2);
  EXPECT_TRUE(left->read(actual.row(0), height / 3));
  Raw damaged = png;
  damaged[damaged.size() / 2] ^= 1;
  const auto broken = openPngRows(damaged, header, 2);
  EXPECT_FALSE(broken->read(actual.row(0), height));
}

TEST(Roads, ADamagedPngGivesNoRowsToTheEnd) {
  const Data whole = pngOfAllFilters(60, 40, 3);
  const PictureHeader header = readHeader(whole.bytes()).value();
  const auto readsAll = [&](Bytes bytes) {
    const auto rows = openPngRows(bytes, header, 1);
    Raw pixels(60 * 40 * 4);
    return rows && rows->read(reinterpret_cast<std::uint32_t*>(pixels.data()), 40) &&
           rows->finish();
  };
  EXPECT_TRUE(readsAll(whole.bytes()));
  constexpr std::size_t headEnd = 33;
  for (std::size_t at = headEnd; at < whole.size(); at += 11) {
    EXPECT_FALSE(readsAll(whole.bytes().first(at))) << at;
    Raw flipped(whole.bytes().begin(), whole.bytes().end());
    flipped[at] ^= 0x10;
    EXPECT_FALSE(readsAll(flipped)) << at;
  }
}

TEST(Roads, WhatDoesNotCountInAPngMayBeDamaged) {
  const Data whole = pngOfAllFilters(60, 40, 3);
  const PictureHeader header = readHeader(whole.bytes()).value();
  // A comment with a wrong checksum, behind the header.
  const Raw comment{0, 0, 0, 2, 't', 'E', 'X', 't', 'a', 0, 1, 2, 3, 4};
  Raw bytes(whole.bytes().begin(), whole.bytes().end());
  bytes.insert(bytes.begin() + 33, comment.begin(), comment.end());
  const auto rows = openPngRows(bytes, header, 1);
  ASSERT_NE(rows, nullptr);
  Raw pixels(60 * 40 * 4);
  EXPECT_TRUE(rows->read(reinterpret_cast<std::uint32_t*>(pixels.data()), 40));
  EXPECT_TRUE(rows->finish());
}

}  // namespace
}  // namespace vecamera::device
