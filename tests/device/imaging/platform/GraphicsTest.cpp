#include <cmath>
#include <limits>
#include <numbers>

#include "VECamera/imaging/ScalingAndOrientation.h"
#include "device/imaging/platform/DeviceImage.h"
#include "device/imaging/platform/Graphics.h"
#include "device/imaging/platform/ImageOperations.h"
#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device::imaging {
namespace {

std::shared_ptr<UIImage> drawn(const std::shared_ptr<UIImage>& image, CGSize canvas,
                               const CGRect& rect) {
  Graphics graphics;
  const auto context = graphics.beginImageContext(canvas);
  context->drawInRect(image, rect);
  return context->imageFromCurrentImageContext();
}

std::shared_ptr<UIImage> stretched(const std::shared_ptr<UIImage>& image, CGSize size) {
  return drawn(image, size, {0, 0, size.width, size.height});
}

Bitmap flat(std::size_t width, std::size_t height, const Rgba& color) {
  return bitmapOf(width, height, [&](std::size_t, std::size_t) { return color; });
}

/// Dark at the left and bright at the right, evenly, and so downwards in green.
Bitmap ramp(std::size_t width, std::size_t height) {
  return bitmapOf(width, height, [&](std::size_t x, std::size_t y) {
    return Rgba{static_cast<int>(255 * x / (width - 1)), static_cast<int>(255 * y / (height - 1)),
                128};
  });
}

TEST(GraphicsTest, UnusableSizesGiveNoContextAndNoImage) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  Graphics graphics;
  const auto image = opened(pngOf(bitmapOfLetters("R")));
  for (const CGSize size : {CGSize{0, 10}, CGSize{10, 0}, CGSize{-5, 10}, CGSize{infinity, 10},
                            CGSize{10, std::nan("")}, CGSize{1e300, 1e300}, CGSize{30000, 30000}}) {
    const auto context = graphics.beginImageContext(size);
    ASSERT_TRUE(context);
    EXPECT_FALSE(context->currentContext()) << size.width << " x " << size.height;
    context->drawInRect(image, {0, 0, 1, 1});
    EXPECT_FALSE(context->imageFromCurrentImageContext());
  }
  EXPECT_FALSE(Graphics(PictureLimits{99}).beginImageContext({10, 10})->currentContext());
  EXPECT_TRUE(Graphics(PictureLimits{100}).beginImageContext({10, 10})->currentContext());
}

TEST(GraphicsTest, IsTransparentWhereNothingWasDrawn) {
  Graphics graphics;
  const auto context = graphics.beginImageContext({2, 1});
  EXPECT_EQ(lettersOf(context->imageFromCurrentImageContext()), "..");
  EXPECT_EQ(lettersOf(drawn(opened(pngOf(bitmapOfLetters("R"))), {3, 2}, {1, 0, 1, 1})), ".R./...");
}

TEST(GraphicsTest, APictureKeepsWhatWasDrawnWhenItWasTaken) {
  Graphics graphics;
  const auto context = graphics.beginImageContext({2, 1});
  context->drawInRect(opened(pngOf(bitmapOfLetters("R"))), {0, 0, 1, 1});
  const auto first = context->imageFromCurrentImageContext();
  context->drawInRect(opened(pngOf(bitmapOfLetters("G"))), {0, 0, 2, 1});
  EXPECT_EQ(lettersOf(first), "R.");
  EXPECT_EQ(lettersOf(context->imageFromCurrentImageContext()), "GG");
}

class ForeignImage final : public UIImage {
 public:
  CGSize size() const override { return {1, 1}; }
  UIImageOrientation imageOrientation() const override { return UIImageOrientation::up; }
  double scale() const override { return 1; }
  std::shared_ptr<const CGImage> cgImage() const override { return nullptr; }
};

TEST(GraphicsTest, DrawingNothingDrawsNothing) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  Graphics graphics;
  const auto context = graphics.beginImageContext({1, 1});
  const auto image = opened(pngOf(bitmapOfLetters("R")));
  context->drawInRect(nullptr, {0, 0, 1, 1});
  context->drawInRect(std::make_shared<ForeignImage>(), {0, 0, 1, 1});
  context->currentContext()->drawImage(nullptr, {0, 0, 1, 1});
  for (const CGRect rect :
       {CGRect{0, 0, 0, 1}, CGRect{5, 5, 1, 1}, CGRect{-1, 0, 1, 1}, CGRect{std::nan(""), 0, 1, 1},
        CGRect{0, 0, infinity, 1}, CGRect{1e300, 0, 1e300, 1}})
    context->drawInRect(image, rect);
  EXPECT_EQ(lettersOf(context->imageFromCurrentImageContext()), ".");
}

TEST(GraphicsTest, LaterDrawingsCoverEarlierOnesByTheirAlpha) {
  Graphics graphics;
  const auto context = graphics.beginImageContext({2, 1});
  context->drawInRect(opened(pngOf(bitmapOfLetters("BB"))), {0, 0, 2, 1});
  context->drawInRect(opened(pngOf(flat(1, 1, {128, 0, 0, 128}))), {1, 0, 1, 1});
  const Bitmap pixels = pixelsOfImage(context->imageFromCurrentImageContext());
  EXPECT_EQ(pixelAt(pixels, 0, 0), (Rgba{0, 0, 255}));
  EXPECT_EQ(pixelAt(pixels, 1, 0), (Rgba{128, 0, 127}));
}

TEST(GraphicsTest, WhatHangsOverIsCutOff) {
  const auto image = opened(pngOf(bitmapOfLetters("RGB/CMY/KWR")));
  EXPECT_EQ(lettersOf(drawn(image, {2, 2}, {-1, -1, 3, 3})), "MY/WR");
  // The crop to a square of a wide picture: equal parts are lost on both sides.
  Graphics graphics;
  const auto wide = opened(pngOf(bitmapOfLetters("RGGB/RGGB")));
  EXPECT_EQ(lettersOf(imageByScalingAndCroppingForSize(graphics, wide, {2, 2})), "GG/GG");
}

TEST(GraphicsTest, AFractionalSizeHasItsLastPixelsCoveredInPart) {
  const auto image = opened(pngOf(flat(1000, 746, {200, 100, 50})));
  const auto scaled = stretched(image, {100, 74.6});
  EXPECT_EQ(scaled->size(), (CGSize{100, 75}));
  const Bitmap pixels = pixelsOfImage(scaled);
  EXPECT_EQ(pixelAt(pixels, 99, 73), (Rgba{200, 100, 50}));
  EXPECT_EQ(pixelAt(pixels, 99, 74), (Rgba{120, 60, 30, 153}));
}

TEST(GraphicsTest, ARoundingErrorInASizeAddsNoPixelAndFadesNone) {
  const double computed = 4000 * (100.0 / 3000) * 0.75 + 1e-13;
  const auto scaled = stretched(opened(pngOf(flat(40, 30, {9, 9, 9}))), {computed, 75});
  EXPECT_EQ(scaled->size(), (CGSize{100, 75}));
  EXPECT_TRUE(pixelsOfImage(scaled).isOpaque());
}

TEST(GraphicsTest, DrawingAtTheSameSizeCopiesExactly) {
  const Bitmap noisy = bitmapOf(37, 23, [](std::size_t x, std::size_t y) {
    const auto value = static_cast<int>((x * 7919 + y * 104729) % 256);
    return Rgba{value, 255 - value, value / 2};
  });
  Graphics graphics;
  const auto image = opened(pngOf(noisy));
  const auto same = imageByScalingNotCroppingForSize(graphics, image, {37, 23});
  EXPECT_NE(same, image);
  EXPECT_EQ(largestDifference(pixelsOfImage(same), noisy), 0);
}

TEST(GraphicsTest, ScalingKeepsTheCentreInItsPlace) {
  // Every pixel of the result has the value of the ramp at its own centre; half a pixel of
  // displacement would show in all of them.
  const auto image = opened(pngOf(ramp(256, 256)));
  for (const double side : {64.0, 100.0, 173.0, 512.0, 700.0}) {
    const Bitmap scaled = pixelsOfImage(stretched(image, {side, side}));
    for (std::size_t i = scaled.width() / 8; i < scaled.width() * 7 / 8; ++i) {
      const double expected = (static_cast<double>(i) + 0.5) * 256 / side - 0.5;
      ASSERT_NEAR(pixelAt(scaled, i, i).red, expected, 1.01) << side << " at " << i;
      ASSERT_NEAR(pixelAt(scaled, i, i).green, expected, 1.01) << side << " at " << i;
    }
  }
}

TEST(GraphicsTest, AFractionalOffsetMovesThePictureByThatMuch) {
  const auto image = opened(pngOf(ramp(256, 256)));
  const Bitmap moved = pixelsOfImage(drawn(image, {100, 100}, {-66.4, -10.25, 128, 256}));
  for (std::size_t x = 0; x < 50; ++x)
    EXPECT_NEAR(pixelAt(moved, x, 50).red, (static_cast<double>(x) + 0.5 + 66.4) * 2 - 0.5, 1.01);
  EXPECT_NEAR(pixelAt(moved, 10, 50).green, 50.5 + 10.25 - 0.5, 1.01);
}

struct Pattern {
  const char* name;
  int (*luma)(std::size_t x, std::size_t y);
};

TEST(GraphicsTest, ShrinkingMakesWhatIsAboveNyquistEvenGrey) {
  constexpr Pattern patterns[] = {
      {"checks", [](std::size_t x, std::size_t y) { return (x + y) % 2 ? 255 : 0; }},
      {"stripes", [](std::size_t x, std::size_t) { return x % 2 ? 255 : 0; }},
      {"stripes of 2.3 pixels",
       [](std::size_t x, std::size_t) {
         return static_cast<int>(
             127.5 + 127.5 * std::sin(2 * std::numbers::pi * static_cast<double>(x) / 2.3));
       }},
  };
  for (const auto& [name, luma] : patterns) {
    const auto image = opened(pngOf(bitmapOf(400, 400, [&](std::size_t x, std::size_t y) {
      const int value = luma(x, y);
      return Rgba{value, value, value};
    })));
    for (const double side : {31.0, 97.0, 133.0}) {
      const Bitmap scaled = pixelsOfImage(stretched(image, {side, side}));
      for (std::size_t i = 4; i + 4 < scaled.width(); ++i)
        ASSERT_NEAR(pixelAt(scaled, i, scaled.height() / 2).red, 127.5, 6)
            << name << " at " << side;
    }
  }
}

TEST(GraphicsTest, EnlargingIsSmooth) {
  const auto image = opened(pngOf(bitmapOfLetters("KW")));
  const Bitmap scaled = pixelsOfImage(stretched(image, {40, 20}));
  for (std::size_t x = 1; x < 40; ++x) {
    const int step = pixelAt(scaled, x, 10).red - pixelAt(scaled, x - 1, 10).red;
    EXPECT_GE(step, 0);
    EXPECT_LE(step, 24);
  }
  EXPECT_EQ(pixelAt(scaled, 0, 10).red, 0);
  EXPECT_EQ(pixelAt(scaled, 39, 10).red, 255);
}

TEST(GraphicsTest, ExtremeScalesGiveTheMeanAndTheFlatColour) {
  const auto tall = opened(pngOf(ramp(2, 30000)));
  EXPECT_NEAR(pixelAt(pixelsOfImage(stretched(tall, {1, 1})), 0, 0).green, 127, 2);
  const auto dot = opened(jpegOf(flat(1, 1, {200, 40, 90})));
  const Bitmap large = pixelsOfImage(stretched(dot, {60, 3000}));
  EXPECT_LE(largestDifference(large, flat(60, 3000, pixelAt(large, 0, 0))), 0);
  EXPECT_NEAR(pixelAt(large, 30, 1500).red, 200, 3);
  // A hair of a huge enlargement.
  const Bitmap hair =
      pixelsOfImage(drawn(opened(pngOf(bitmapOfLetters("RG"))), {3, 3}, {-1e7, -1e7, 4e7, 4e7}));
  EXPECT_EQ(lettersOf(hair), "RRR/RRR/RRR");
}

TEST(GraphicsTest, TransparentEdgesScaleWithoutAFringe) {
  const auto image = opened(pngOf(bitmapOfLetters("..../.WW./.WW./....", 8)));
  for (const double side : {13.0, 100.0}) {
    const Bitmap scaled = pixelsOfImage(stretched(image, {side, side}));
    for (std::size_t y = 0; y < scaled.height(); ++y)
      for (std::size_t x = 0; x < scaled.width(); ++x) {
        const Rgba pixel = pixelAt(scaled, x, y);
        // White stays white: its premultiplied colours are its alpha.
        ASSERT_NEAR(pixel.red, pixel.alpha, 1);
        ASSERT_LE(pixel.red, pixel.alpha);
      }
  }
}

TEST(GraphicsTest, ACoarselyDecodedJpegLiesWhereTheWholeOneWould) {
  // The sides are no multiples of 8, so the coarse decodes end inside of a block.
  const Bitmap source = ramp(1001, 603);
  for (const auto orientation : allOrientations) {
    const auto jpeg = opened(jpegOf(source, orientation));
    const auto png = opened(pngOf(source, orientation));
    for (const double factor : {0.9, 0.5, 0.37, 0.25, 0.124, 0.06}) {
      const CGSize size{std::round(png->size().width * factor),
                        std::round(png->size().height * factor)};
      const Bitmap expected = pixelsOfImage(stretched(png, size));
      const Bitmap actual = pixelsOfImage(stretched(jpeg, size));
      EXPECT_LE(largestDifference(actual, expected), 4)
          << "orientation " << static_cast<int>(orientation) << ", factor " << factor;
    }
  }
}

TEST(GraphicsTest, ScalingWhatWasRotatedIsOnePassWithTheRotation) {
  Graphics graphics;
  const auto image = opened(jpegOf(ramp(320, 200), UIImageOrientation::right));
  const auto upright =
      imageCorrectedForCaptureOrientation(graphics, image, UIImageOrientation::right);
  const CGSize target{90, 90};
  const Bitmap twoSteps =
      pixelsOfImage(imageByScalingNotCroppingForSize(graphics, upright, target));
  const Bitmap oneStep = pixelsOfImage(imageByScalingNotCroppingForSize(graphics, image, target));
  EXPECT_EQ(largestDifference(twoSteps, oneStep), 0);
}

TEST(GraphicsTest, AnyRotationIsDrawnSmoothlyAndLeavesTheRestTransparent) {
  Graphics graphics;
  const auto image = opened(pngOf(bitmapOfLetters("RG/BW", 100)));
  const auto context = graphics.beginImageContext({100, 100});
  context->currentContext()->translateBy(50, 50);
  context->currentContext()->rotateBy(std::numbers::pi / 4);
  context->drawInRect(image, {-30, -30, 60, 60});
  const Bitmap pixels = pixelsOfImage(context->imageFromCurrentImageContext());
  EXPECT_EQ(pixelAt(pixels, 50, 30), (Rgba{255, 0, 0}));
  EXPECT_EQ(pixelAt(pixels, 70, 50), (Rgba{0, 255, 0}));
  EXPECT_EQ(pixelAt(pixels, 30, 50), (Rgba{0, 0, 255}));
  EXPECT_EQ(pixelAt(pixels, 50, 70), (Rgba{255, 255, 255}));
  double covered = 0;
  for (std::size_t y = 0; y < 100; ++y)
    for (std::size_t x = 0; x < 100; ++x) covered += pixelAt(pixels, x, y).alpha / 255.0;
  EXPECT_NEAR(covered, 3600, 40);
  EXPECT_EQ(pixelAt(pixels, 2, 2).alpha, 0);
}

TEST(GraphicsTest, APictureWithoutPixelsSpoilsTheDrawingThatShowsIt) {
  const Data whole = jpegOf(ramp(64, 64));
  const auto broken = opened(Data::copyOf(whole.bytes().first(whole.size() / 2)));
  ASSERT_TRUE(broken);
  EXPECT_TRUE(broken->cgImage());
  EXPECT_EQ(lettersOf(stretched(broken, {10, 10})), "no pixels");
}

}  // namespace
}  // namespace vecamera::device::imaging
