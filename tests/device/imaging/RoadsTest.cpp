#include <turbojpeg.h>

// jpeglib.h needs what stands before it.
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include <cmath>
#include <cstdlib>
#include <numbers>
#include <tuple>
#include <utility>

#include "VECamera/imaging/ScalingAndOrientation.h"
#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/jpeg/JpegLosslessTransform.h"
#include "device/imaging/metadata/ExifBlock.h"
#include "device/imaging/platform/Canvas.h"
#include "device/imaging/platform/Images.h"
#include "device/imaging/platform/Pictures.h"
#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device::imaging {
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

/// How many samples of the components, across and down, one group of a JPEG's blocks holds.
struct Factors {
  std::pair<int, int> brightness{1, 1};
  std::pair<int, int> blue{1, 1};
  std::pair<int, int> red{1, 1};
};

enum class Scans { one, progressive, oneOfEachComponent };

Data jpegOfFactors(const Bitmap& bitmap, bool gray, const Factors& factors,
                   Scans scans = Scans::one) {
  jpeg_compress_struct info{};
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = static_cast<JDIMENSION>(bitmap.width());
  info.image_height = static_cast<JDIMENSION>(bitmap.height());
  info.input_components = 4;
  info.in_color_space = JCS_EXT_RGBX;
  jpeg_set_defaults(&info);
  if (gray) jpeg_set_colorspace(&info, JCS_GRAYSCALE);
  jpeg_set_quality(&info, 97, TRUE);
  const std::pair<int, int> all[] = {factors.brightness, factors.blue, factors.red};
  for (int i = 0; i < info.num_components; ++i)
    std::tie(info.comp_info[i].h_samp_factor, info.comp_info[i].v_samp_factor) = all[i];
  if (scans == Scans::progressive) jpeg_simple_progression(&info);
  constexpr jpeg_scan_info each[] = {
      {1, {0}, 0, 63, 0, 0}, {1, {1}, 0, 63, 0, 0}, {1, {2}, 0, 63, 0, 0}};
  if (scans == Scans::oneOfEachComponent) {
    info.scan_info = each;
    info.num_scans = info.num_components;
  }
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    JSAMPROW row = const_cast<JSAMPROW>(bitmap.bytesOfRow(info.next_scanline));
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  const Data jpeg = Data::copyOf(Bytes(buffer, size));
  std::free(buffer);
  return jpeg;
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
constexpr Drawn drawings[] = {{{120, 80}, {0, 0, 120, 80}},   {{61.3, 40.7}, {0, 0, 61.3, 40.7}},
                              {{50, 50}, {-12.5, 0, 75, 50}}, {{33, 44}, {0, -2.75, 33, 49.5}},
                              {{15, 10}, {0, 0, 15, 10}},     {{260, 190.25}, {0, 0, 260, 190.25}}};

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

TEST(Roads, ScansOfAPictureMakeNoDifferenceAtAnyScale) {
  // What comes in several scans is decoded whole before its blocks are made smaller.
  constexpr Factors kinds[] = {{},
                               {{2, 1}},
                               {{2, 2}},
                               {{1, 2}},
                               {{4, 1}},
                               {{3, 2}},
                               {{1, 4}},
                               // Brightness that is coarser than colours.
                               {{1, 1}, {2, 2}, {2, 2}},
                               {{1, 1}, {2, 1}, {1, 2}}};
  for (const bool gray : {false, true})
    for (const Factors& factors : kinds)
      for (const auto& [width, height] : {std::pair{640u, 400u}, std::pair{333u, 251u}})
        for (const double scale : {0.04, 0.1, 0.15, 0.2, 0.3}) {
          SCOPED_TRACE("kind " + std::to_string(&factors - kinds) + (gray ? ", grey" : "") +
                       " to " + std::to_string(scale));
          const Bitmap picture = landscape(width, height);
          const auto shrunk = [&](Scans scans) {
            const auto image = opened(jpegOfFactors(picture, gray, factors, scans));
            const CGSize size{width * scale, height * scale};
            return *Images().UIImageJPEGRepresentation(
                drawn(image, size, {0, 0, size.width, size.height}), 0.9);
          };
          const Data inOne = shrunk(Scans::one);
          EXPECT_EQ(inOne, shrunk(Scans::progressive));
          EXPECT_EQ(inOne, shrunk(Scans::oneOfEachComponent));
        }
}

TEST(Roads, ColoursThatNoScanHoldsAreGrey) {
  const Data jpeg = jpegOfFactors(landscape(90, 70), false, {{2, 2}}, Scans::oneOfEachComponent);
  Raw bytes(jpeg.bytes().begin(), jpeg.bytes().end());
  // The end in place of the second scan.
  constexpr std::uint8_t startOfScan[] = {0xFF, 0xDA};
  const auto first =
      std::search(bytes.begin(), bytes.end(), std::begin(startOfScan), std::end(startOfScan));
  const auto second =
      std::search(first + 2, bytes.end(), std::begin(startOfScan), std::end(startOfScan));
  ASSERT_NE(second, bytes.end());
  second[1] = 0xD9;
  for (const double width : {90.0, 40.0, 20.0, 8.0, 3.0}) {
    const Bitmap scaled = pixelsOfImage(opened(*Images().UIImageJPEGRepresentation(
        drawn(opened(Data(bytes)), {width, width}, {0, 0, width, width}), 0.9)));
    const Rgba pixel = pixelAt(scaled, 0, 0);
    EXPECT_LE(std::abs(pixel.red - pixel.green) + std::abs(pixel.blue - pixel.green), 2) << width;
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

/// A zone plate: its rings get finer with the distance from the centre.
namespace plate {

constexpr std::size_t side = 640;
constexpr double grey = 127.5;

/// The rings' own part at a place, of a strength of 100.
double ring(double x, double y) {
  const double dx = x - side / 2.0;
  const double dy = y - side / 2.0;
  return 100 * std::cos(std::numbers::pi * (dx * dx + dy * dy) / side);
}

/// Its pixels: `color` makes one of the part.
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
      opened(*Images().UIImageJPEGRepresentation(scaledTo(length, image), quality)));
}

/// Visits the pixels of a scaled plate, but for its edges, with their places on the whole one and
/// the fineness of the rings there: in periods for a pixel of the result, which holds half of one.
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
struct Left {
  double most = 0;
  double squares = 0;
  int count = 0;

  void add(double part) {
    most = std::max(most, std::abs(part));
    squares += part * part;
    ++count;
  }
  double onAverage() const { return std::sqrt(squares / count); }
};

}  // namespace plate

TEST(Roads, WhatIsTooFineBecomesEvenAndNothingMoves) {
  const Bitmap rings = plate::inColor([](double part) {
    const int value = static_cast<int>(plate::grey + part);
    return Rgba{value, value, value};
  });
  const auto leftIn = [](const Bitmap& scaled, double length) {
    plate::Left left;
    plate::visit(scaled, length, [&](const Rgba& pixel, double x, double y, double fineness) {
      if (fineness > 0.75) left.add(pixel.green - plate::grey);
      if (fineness < 0.12) {
        EXPECT_NEAR(pixel.green - plate::grey, plate::ring(x, y), 16) << x << ", " << y;
      }
    });
    EXPECT_GT(left.count, 0);
    return left;
  };
  const auto png = opened(pngOf(rings, UIImageOrientation::left));
  const auto jpeg = opened(jpegWith(rings, TJSAMP_420, UIImageOrientation::right));
  const auto expectAtMost = [](const plate::Left& left, double most, double onAverage) {
    EXPECT_LE(left.most, most);
    EXPECT_LE(left.onAverage(), onAverage);
  };
  for (const double length : {39.5, 56.0, 57.0, 60.0, 75.0, 84.0, 100.0, 122.0, 128.0, 130.0, 150.5,
                              180.0, 230.0, 311.0}) {
    SCOPED_TRACE(length);
    // All pixels of the one are decoded. For the other the decoder shrinks first, each block by
    // itself; in both ways of doing it, hardly more is left.
    const auto whole = leftIn(plate::jpegScaledTo(length, png, 0.95), length);
    const auto scaled = leftIn(plate::jpegScaledTo(length, jpeg, 0.95), length);
    const auto onCanvas = leftIn(pixelsOfImage(plate::scaledTo(length, jpeg)), length);
    for (const auto& left : {scaled, onCanvas}) {
      expectAtMost(left, whole.most + 6, whole.onAverage() + 0.75);
      expectAtMost(left, 34, 3.5);
    }
    if (length >= 100) expectAtMost(whole, 14, 1);
    if (length == 128 || length > 150) expectAtMost(scaled, 14, 1);
  }
}

TEST(Roads, ColoursThatAreTooFineBecomeEven) {
  // Blue rings of an even brightness.
  const Bitmap rings = plate::inColor([](double part) {
    return Rgba{static_cast<int>(plate::grey), static_cast<int>(plate::grey - 0.194 * part),
                static_cast<int>(plate::grey + part)};
  });
  for (const auto sampling : {TJSAMP_444, TJSAMP_422, TJSAMP_420}) {
    const auto image = opened(jpegWith(rings, sampling, UIImageOrientation::right));
    // What the stored colours can hold, in periods for a stored pixel.
    const double finestStored = sampling == TJSAMP_444 ? 0.5 : 0.2;
    // Below the best quality, colours have half of the pixels both ways.
    for (const auto& [quality, finest] : {std::pair{0.95, 0.375}, std::pair{1.0, 0.75}})
      for (const double length : {39.5, 45.0, 70.0, 79.0, 107.0, 122.0, 168.0}) {
        plate::Left left;
        plate::visit(plate::jpegScaledTo(length, image, quality), length,
                     [&, first = finest](const Rgba& pixel, double, double, double fineness) {
                       if (fineness > first && fineness * length / plate::side < finestStored)
                         left.add(pixel.blue - plate::grey);
                     });
        if (left.count == 0) continue;
        EXPECT_LE(left.onAverage(), 2.5) << sampling << ", " << quality << " to " << length;
      }
  }
}

TEST(Roads, BlackLinesOnWhiteStayAsDarkAsTheyAre) {
  // Their edges throw the samples of a block beyond black and white.
  constexpr int every = 7;
  const Bitmap lines = bitmapOf(320, 240, [](std::size_t x, std::size_t y) {
    const int value = (y + x / 20) % every == 0 ? 0 : 255;
    return Rgba{value, value, value};
  });
  const auto image = opened(jpegWith(lines, TJSAMP_420, UIImageOrientation::left));
  for (const double ratio : {3.3, 4.0, 5.3, 7.0, 7.9, 12.0, 20.0}) {
    const CGSize size{std::round(240 / ratio), std::round(320 / ratio)};
    const Bitmap scaled = pixelsOfImage(opened(*Images().UIImageJPEGRepresentation(
        drawn(image, size, {0, 0, size.width, size.height}), 0.95)));
    double sum = 0;
    for (std::size_t y = 0; y < scaled.height(); ++y)
      for (std::size_t x = 0; x < scaled.width(); ++x) sum += pixelAt(scaled, x, y).green;
    EXPECT_NEAR(sum / static_cast<double>(scaled.width() * scaled.height()),
                255.0 * (every - 1) / every, 1.5)
        << ratio;
  }
}

TEST(Roads, WhatWasCutInsideOfABlockIsFaintInTheFirstPixelOnly) {
  // White is cut off, on the left or at the top.
  for (const bool left : {true, false})
    for (const double ratio : {2.0, 4.0, 5.0, 7.0, 12.0, 20.0})
      for (const std::size_t edge : {129u, 130u, 131u, 133u, 135u}) {
        SCOPED_TRACE(std::to_string(left) + ", " + std::to_string(ratio) + ", " +
                     std::to_string(edge));
        const Bitmap halves =
            bitmapOf(left ? 512 : 64, left ? 64 : 512, [&](std::size_t x, std::size_t y) {
              const int value = (left ? x : y) < edge ? 255 : 0;
              return Rgba{value, value, value};
            });
        const auto cut = [&](double along, double across) {
          return left ? CGSize{along, across} : CGSize{across, along};
        };
        const auto image = opened(jpegWith(halves, TJSAMP_444, UIImageOrientation::up));
        const auto at = static_cast<double>(edge);
        const CGSize kept = cut(320, 64);
        Graphics graphics;
        const Bitmap scaled = pixelsOfImage(opened(*Images().UIImageJPEGRepresentation(
            imageByScalingNotCroppingForSize(
                graphics,
                croppedUpright(image, {left ? at : 0, left ? 0 : at, kept.width, kept.height}),
                cut(std::round(320 / ratio), std::round(64 / ratio))),
            1.0)));
        EXPECT_LE(pixelAt(scaled, 0, 0).green, 22);
        for (std::size_t i = 1; i < std::max(scaled.width(), scaled.height()); ++i)
          EXPECT_LE(pixelAt(scaled, left ? i : 0, left ? 0 : i).green, 3);
      }
}

TEST(Roads, APictureCanBeSqueezedIntoALine) {
  const auto image = opened(jpegWith(landscape(97, 150), TJSAMP_420, UIImageOrientation::up));
  expectSamePicture(drawn(image, {97, 1}, {0, 0, 97, 1}), 1.0, 8, 1.5);
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
    return Data(turnedJpeg(jpeg.bytes(), readHeader(jpeg.bytes()).value(), by, {}).value().value());
  };
  const Data plain = turn(stored, {});
  EXPECT_EQ(largestDifference(pixelsOfImage(opened(plain)), pixelsOfImage(opened(stored))), 0);
  for (const auto orientation : allOrientations) {
    const Turn there = turnFor(orientation);
    EXPECT_EQ(turn(turn(stored, there), inverse(there)), plain) << static_cast<int>(orientation);
  }
}

TEST(Roads, ColoursStayWithTheBrightnessTheyBelongTo) {
  // A soft spot that is as bright as it is blue, away from the middle.
  constexpr double centreX = 203.3;
  constexpr double centreY = 118.6;
  const Bitmap spot = bitmapOf(320, 240, [](std::size_t x, std::size_t y) {
    const double dx = static_cast<double>(x) + 0.5 - centreX;
    const double dy = static_cast<double>(y) + 0.5 - centreY;
    const double height = std::exp(-(dx * dx + dy * dy) / (2 * 28 * 28));
    return Rgba{static_cast<int>(60 + 20 * height), static_cast<int>(60 + 60 * height),
                static_cast<int>(60 + 180 * height)};
  });
  for (const auto orientation : allOrientations)
    for (const double scale : {0.6, 0.45, 0.3, 0.22, 0.12}) {
      SCOPED_TRACE("orientation " + std::to_string(static_cast<int>(orientation)) + " to " +
                   std::to_string(scale));
      const auto lying = turned(
          bitmapOf(320, 240, [&](std::size_t x, std::size_t y) { return pixelAt(spot, x, y); }),
          inverse(turnFor(orientation)));
      const auto image = opened(jpegWith(*lying, TJSAMP_420, orientation));
      const CGSize size{std::round(320 * scale), std::round(240 * scale)};
      const Bitmap scaled = pixelsOfImage(opened(*Images().UIImageJPEGRepresentation(
          drawn(image, size, {0, 0, size.width, size.height}), 0.97)));
      struct Centre {
        double sum = 0;
        double x = 0;
        double y = 0;
      } brightness, blue;
      for (std::size_t y = 0; y < scaled.height(); ++y)
        for (std::size_t x = 0; x < scaled.width(); ++x) {
          const Rgba pixel = pixelAt(scaled, x, y);
          const auto add = [&](Centre& centre, double weight) {
            centre.sum += weight;
            centre.x += weight * (static_cast<double>(x) + 0.5);
            centre.y += weight * (static_cast<double>(y) + 0.5);
          };
          // What is left of the even ground is noise of the coding.
          if (pixel.green > 66) add(brightness, pixel.green - 60);
          if (pixel.blue - pixel.green > 10) add(blue, pixel.blue - pixel.green);
        }
      // A shift by half a sample of a colour would be one pixel of the result.
      for (const Centre& centre : {brightness, blue}) {
        EXPECT_NEAR(centre.x / centre.sum, centreX * scaled.width() / 320, 0.2);
        EXPECT_NEAR(centre.y / centre.sum, centreY * scaled.height() / 240, 0.2);
      }
    }
}

TEST(Roads, UnusualSamplingsGiveThePictureThatTheCanvasGives) {
  struct {
    bool gray;
    int across;
    int down;
  } constexpr kinds[] = {{true, 1, 3},  {true, 3, 1},  {true, 2, 2},  {true, 4, 3},
                         {false, 1, 3}, {false, 3, 1}, {false, 3, 2}, {false, 1, 4}};
  for (const auto& [gray, across, down] : kinds)
    for (const auto& [width, height] : {std::pair{96u, 216u}, std::pair{101u, 67u}}) {
      const Data stored = jpegOfFactors(landscape(width, height), gray, {{across, down}});
      for (const auto orientation : {UIImageOrientation::up, UIImageOrientation::leftMirrored}) {
        SCOPED_TRACE((gray ? "grey " : "colours ") + std::to_string(across) + " x " +
                     std::to_string(down));
        const auto image = opened(Data(withExif(stored.bytes(), PictureFormat::jpeg,
                                                exifWithOrientation(exifOrientation(orientation)))
                                           .value()));
        const CGSize size = image->size();
        expectSamePicture(drawn(image, size, {0, 0, size.width, size.height}), 1.0, 14, 1.5);
        expectSamePicture(drawn(image, {40, 30}, {0, 0, 40, 30}), 0.95, 14, 1.5);
        // The canvas' way repeats colours that are stored this coarsely; planes smooth them.
        expectSamePicture(drawn(image, {9, 9}, {0, 0, 9, 9}), 0.95, gray ? 4 : 14,
                          gray ? 0.6 : 3.2);
      }
    }
}

TEST(Roads, FrequenciesThatTheUsualCodesDoNotHaveAreDecoded) {
  // One grey block, written by hand: of its codes the first is for a difference of the mean of 0,
  // the other two for a frequency of eleven bits and for the end of the block.
  Raw jpeg{0xFF, 0xD8, 0xFF, 0xDB, 0, 67, 0};
  jpeg.insert(jpeg.end(), 64, 1);
  const Raw frame{0xFF, 0xC0, 0, 11, 8, 0, 8, 0, 8, 1, 1, 0x11, 0};
  const Raw meanCodes{0xFF, 0xC4, 0, 20, 0x00, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const Raw codes{0xFF, 0xC4, 0, 21, 0x10, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x0B, 0};
  // 0 0 11111010000 10, filled up with ones: the frequency is 2000.
  const Raw scan{0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0, 0x3E, 0x85, 0xFF, 0xD9};
  for (const Raw& part : {frame, meanCodes, codes, scan})
    jpeg.insert(jpeg.end(), part.begin(), part.end());
  const auto image = opened(Data(jpeg));
  ASSERT_TRUE(image);
  EXPECT_FALSE(turnedJpeg(jpeg, readHeader(jpeg).value(), {}, {}));
  expectSamePicture(drawn(image, {8, 8}, {0, 0, 8, 8}), 1.0, 3, 1);
  EXPECT_TRUE(Images().UIImagePNGRepresentation(image));
}

TEST(Roads, DamageEndsTheWayThatMeetsIt) {
  const Data whole = jpegWith(landscape(64, 96), TJSAMP_420, UIImageOrientation::up);
  const Bytes cut = whole.bytes().first(whole.size() * 2 / 3);
  const auto header = readHeader(cut).value();
  // It was for this picture, but nothing came of it.
  const auto turned = turnedJpeg(cut, header, {}, {});
  ASSERT_TRUE(turned);
  EXPECT_FALSE(*turned);
  // Not for this one: a mirrored side ends inside of a block.
  const Data odd = jpegWith(landscape(63, 96), TJSAMP_420, UIImageOrientation::up);
  EXPECT_FALSE(turnedJpeg(odd.bytes(), readHeader(odd.bytes()).value(),
                          turnFor(UIImageOrientation::upMirrored), {}));
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

TEST(Roads, AGreyPictureLosesAProfileOfColours) {
  const Data grey = jpegWith(landscape(90, 70), TJSAMP_GRAY, UIImageOrientation::up);
  const std::string_view head("\xFF\xE2\0\xD8ICC_PROFILE\0\1\1", 18);
  const std::string_view space = "RGB ";
  Raw segment(head.size() + 200);
  std::copy(head.begin(), head.end(), segment.begin());
  std::copy(space.begin(), space.end(), segment.begin() + 18 + 16);
  Raw bytes(grey.bytes().begin(), grey.bytes().end());
  bytes.insert(bytes.begin() + 2, segment.begin(), segment.end());
  const auto image = opened(Data(bytes));
  for (const auto& encoded :
       {Images().UIImagePNGRepresentation(image), Images().UIImageJPEGRepresentation(image, 0.8),
        Images().UIImageJPEGRepresentation(image, 1)}) {
    ASSERT_TRUE(encoded);
    const std::string_view text(reinterpret_cast<const char*>(encoded->bytes().data()),
                                encoded->size());
    EXPECT_EQ(text.find("ICC"), std::string_view::npos);
  }
}

}  // namespace
}  // namespace vecamera::device::imaging
