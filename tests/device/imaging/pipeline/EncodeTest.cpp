#include <cmath>

#include "VECamera/imaging/ScalingAndOrientation.h"
#include "device/imaging/codecs/ExifOrientation.h"
#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/metadata/Metadata.h"
#include "device/imaging/platform/Graphics.h"
#include "device/imaging/platform/ImageFactory.h"
#include "device/imaging/platform/ImageOperations.h"
#include "tests/device/imaging/TestJpegs.h"

namespace vecamera::device::imaging {
namespace {

using Raw = std::vector<std::uint8_t>;

struct Drawn {
  CGSize canvas;
  CGRect rect;
};

// What the plug-in asks for: to fit, to fill and cut, fractions of pixels, and enlarged.
constexpr Drawn drawings[] = {{{120, 80}, {0, 0, 120, 80}},   {{61.3, 40.7}, {0, 0, 61.3, 40.7}},
                              {{50, 50}, {-12.5, 0, 75, 50}}, {{33, 44}, {0, -2.75, 33, 49.5}},
                              {{15, 10}, {0, 0, 15, 10}},     {{260, 190.25}, {0, 0, 260, 190.25}}};

TEST(EncodeTest, PlanesGiveThePictureThatTheCanvasGives) {
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

TEST(EncodeTest, ScansOfAPictureMakeNoDifferenceAtAnyScale) {
  // A picture in several scans is decoded as a whole before its blocks are made smaller.
  constexpr Factors kinds[] = {{},
                               {{2, 1}},
                               {{2, 2}},
                               {{1, 2}},
                               {{4, 1}},
                               {{3, 2}},
                               {{1, 4}},
                               // Luma that is coarser than chroma.
                               {{1, 1}, {2, 2}, {2, 2}},
                               {{1, 1}, {2, 1}, {1, 2}}};
  for (const ColorModel colors : {ColorModel::rgb, ColorModel::gray})
    for (const Factors& factors : kinds)
      for (const auto& [width, height] : {std::pair{640u, 400u}, std::pair{333u, 251u}})
        for (const double scale : {0.04, 0.1, 0.15, 0.2, 0.3}) {
          SCOPED_TRACE("kind " + std::to_string(&factors - kinds) +
                       (colors == ColorModel::gray ? ", grey" : "") + " to " +
                       std::to_string(scale));
          const Bitmap picture = landscape(width, height);
          const auto shrunk = [&](Scans scans) {
            const auto image = opened(jpegOfFactors(picture, colors, factors, scans));
            const CGSize size{width * scale, height * scale};
            return *ImageFactory().UIImageJPEGRepresentation(
                drawn(image, size, {0, 0, size.width, size.height}), 0.9);
          };
          const Data inOne = shrunk(Scans::one);
          EXPECT_EQ(inOne, shrunk(Scans::progressive));
          EXPECT_EQ(inOne, shrunk(Scans::oneOfEachComponent));
        }
}

TEST(EncodeTest, ColoursThatNoScanHoldsAreGrey) {
  const Data jpeg =
      jpegOfFactors(landscape(90, 70), ColorModel::rgb, {{2, 2}}, Scans::oneOfEachComponent);
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
    const Bitmap scaled = pixelsOfImage(opened(*ImageFactory().UIImageJPEGRepresentation(
        drawn(opened(Data(bytes)), {width, width}, {0, 0, width, width}), 0.9)));
    const Rgba pixel = pixelAt(scaled, 0, 0);
    EXPECT_LE(std::abs(pixel.red - pixel.green) + std::abs(pixel.blue - pixel.green), 2) << width;
  }
}

TEST(EncodeTest, APictureIsTheSameInWhateverOrientationItIsStored) {
  // The same upright picture, stored in all eight orientations.
  const Bitmap upright = landscape(240, 160);
  const auto scaled = [](const std::shared_ptr<UIImage>& image) {
    return pixelsOfImage(opened(
        *ImageFactory().UIImageJPEGRepresentation(drawn(image, {75, 50}, {0, 0, 75, 50}), 0.9)));
  };
  const Bitmap expected = scaled(opened(jpegWith(upright, TJSAMP_420, UIImageOrientation::up)));
  for (const auto orientation : allOrientations) {
    const auto lying = *oriented(
        bitmapOf(240, 160, [&](std::size_t x, std::size_t y) { return pixelAt(upright, x, y); }),
        inverse(orientationFor(orientation)));
    const Bitmap actual = scaled(opened(jpegWith(lying, TJSAMP_420, orientation)));
    EXPECT_LE(meanDifference(actual, expected), 0.8) << static_cast<int>(orientation);
  }
}

TEST(EncodeTest, BlackLinesOnWhiteStayAsDarkAsTheyAre) {
  // At the edges of the lines, the samples of a block overshoot.
  constexpr int every = 7;
  const Bitmap lines = bitmapOf(320, 240, [](std::size_t x, std::size_t y) {
    const int value = (y + x / 20) % every == 0 ? 0 : 255;
    return Rgba{value, value, value};
  });
  const auto image = opened(jpegWith(lines, TJSAMP_420, UIImageOrientation::left));
  for (const double ratio : {3.3, 4.0, 5.3, 7.0, 7.9, 12.0, 20.0}) {
    const CGSize size{std::round(240 / ratio), std::round(320 / ratio)};
    const Bitmap scaled = pixelsOfImage(opened(*ImageFactory().UIImageJPEGRepresentation(
        drawn(image, size, {0, 0, size.width, size.height}), 0.95)));
    double sum = 0;
    for (std::size_t y = 0; y < scaled.height(); ++y)
      for (std::size_t x = 0; x < scaled.width(); ++x) sum += pixelAt(scaled, x, y).green;
    EXPECT_NEAR(sum / static_cast<double>(scaled.width() * scaled.height()),
                255.0 * (every - 1) / every, 1.5)
        << ratio;
  }
}

TEST(EncodeTest, WhatWasCroppedInsideOfABlockIsFaintInTheFirstPixelOnly) {
  // White is cropped, on the left or at the top.
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
        const Bitmap scaled = pixelsOfImage(opened(*ImageFactory().UIImageJPEGRepresentation(
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

TEST(EncodeTest, APictureCanBeSqueezedIntoALine) {
  const auto image = opened(jpegWith(landscape(97, 150), TJSAMP_420, UIImageOrientation::up));
  expectSamePicture(drawn(image, {97, 1}, {0, 0, 97, 1}), 1.0, 8, 1.5);
}

TEST(EncodeTest, ChromaStaysWithTheLumaItBelongsTo) {
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
      const auto lying = *oriented(
          bitmapOf(320, 240, [&](std::size_t x, std::size_t y) { return pixelAt(spot, x, y); }),
          inverse(orientationFor(orientation)));
      const auto image = opened(jpegWith(lying, TJSAMP_420, orientation));
      const CGSize size{std::round(320 * scale), std::round(240 * scale)};
      const Bitmap scaled = pixelsOfImage(opened(*ImageFactory().UIImageJPEGRepresentation(
          drawn(image, size, {0, 0, size.width, size.height}), 0.97)));
      struct Centre {
        double sum = 0;
        double x = 0;
        double y = 0;
      } luma, blue;
      for (std::size_t y = 0; y < scaled.height(); ++y)
        for (std::size_t x = 0; x < scaled.width(); ++x) {
          const Rgba pixel = pixelAt(scaled, x, y);
          const auto add = [&](Centre& centre, double weight) {
            centre.sum += weight;
            centre.x += weight * (static_cast<double>(x) + 0.5);
            centre.y += weight * (static_cast<double>(y) + 0.5);
          };
          // What is left of the even ground is noise of the coding.
          if (pixel.green > 66) add(luma, pixel.green - 60);
          if (pixel.blue - pixel.green > 10) add(blue, pixel.blue - pixel.green);
        }
      // A shift by half a sample of chroma would be one pixel of the result.
      for (const Centre& centre : {luma, blue}) {
        EXPECT_NEAR(centre.x / centre.sum, centreX * scaled.width() / 320, 0.2);
        EXPECT_NEAR(centre.y / centre.sum, centreY * scaled.height() / 240, 0.2);
      }
    }
}

TEST(EncodeTest, UnusualSamplingsGiveThePictureThatTheCanvasGives) {
  constexpr ColorModel grey = ColorModel::gray;
  constexpr ColorModel rgb = ColorModel::rgb;
  struct {
    ColorModel colors;
    int across;
    int down;
  } constexpr kinds[] = {{grey, 1, 3}, {grey, 3, 1}, {grey, 2, 2}, {grey, 4, 3},
                         {rgb, 1, 3},  {rgb, 3, 1},  {rgb, 3, 2},  {rgb, 1, 4}};
  for (const auto& [colors, across, down] : kinds)
    for (const auto& [width, height] : {std::pair{96u, 216u}, std::pair{101u, 67u}}) {
      const Data stored = jpegOfFactors(landscape(width, height), colors, {{across, down}});
      for (const auto orientation : {UIImageOrientation::up, UIImageOrientation::leftMirrored}) {
        SCOPED_TRACE((colors == grey ? "grey " : "colours ") + std::to_string(across) + " x " +
                     std::to_string(down));
        const auto image = opened(Data(*embedExif(
            stored.bytes(), jpegFormat, exifWithOrientation(exifOrientation(orientation)))));
        expectSamePicture(drawnAtOwnSize(image), 1.0, 14, 1.5);
        expectSamePicture(drawn(image, {40, 30}, {0, 0, 40, 30}), 0.95, 14, 1.5);
        // A canvas of pixels repeats chroma that is stored this coarsely; planes smooth it.
        expectSamePicture(drawn(image, {9, 9}, {0, 0, 9, 9}), 0.95, colors == grey ? 4 : 14,
                          colors == grey ? 0.6 : 3.2);
      }
    }
}

TEST(EncodeTest, AGreyJpegBecomesAGreyPngAndJpeg) {
  constexpr std::size_t colorTypeOffset = 25;
  const Data grey = jpegWith(landscape(90, 70), TJSAMP_GRAY, UIImageOrientation::left);
  const Data png = ImageFactory().UIImagePNGRepresentation(opened(grey)).value();
  EXPECT_EQ(png.bytes()[colorTypeOffset], 0);
  EXPECT_EQ(largestDifference(pixelsOfImage(opened(png)), pixelsOfImage(opened(grey))), 0);
  const auto scaled = drawn(opened(grey), {30, 40}, {0, 0, 30, 40});
  const auto header = readHeader(ImageFactory().UIImageJPEGRepresentation(scaled, 0.8)->bytes());
  EXPECT_EQ(header->colorModel, ColorModel::gray);
}

TEST(EncodeTest, AGreyPictureLosesAProfileOfColours) {
  const Data grey = jpegWith(landscape(90, 70), TJSAMP_GRAY, UIImageOrientation::up);
  const std::string_view head("\xFF\xE2\0\xD8ICC_PROFILE\0\1\1", 18);
  const std::string_view space = "RGB ";
  Raw segment(head.size() + 200);
  std::copy(head.begin(), head.end(), segment.begin());
  std::copy(space.begin(), space.end(), segment.begin() + 18 + 16);
  Raw bytes(grey.bytes().begin(), grey.bytes().end());
  bytes.insert(bytes.begin() + 2, segment.begin(), segment.end());
  const auto image = opened(Data(bytes));
  for (const auto& encoded : {ImageFactory().UIImagePNGRepresentation(image),
                              ImageFactory().UIImageJPEGRepresentation(image, 0.8),
                              ImageFactory().UIImageJPEGRepresentation(image, 1)}) {
    ASSERT_TRUE(encoded);
    const std::string_view text(reinterpret_cast<const char*>(encoded->bytes().data()),
                                encoded->size());
    EXPECT_EQ(text.find("ICC"), std::string_view::npos);
  }
}

}  // namespace
}  // namespace vecamera::device::imaging
