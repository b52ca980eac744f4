#include "VECamera/imaging/ScalingAndOrientation.h"
#include "device/imaging/platform/Graphics.h"
#include "device/imaging/platform/ImageOperations.h"
#include "tests/device/imaging/TestJpegs.h"

namespace vecamera::device::imaging {
namespace {

constexpr std::string_view stored = "RGB/CMY";

struct Case {
  UIImageOrientation orientation;
  std::string_view shown;
  /// What the module's orientation correction leaves, which draws the bare bitmap; empty where that
  /// stretches it.
  std::string_view corrected;
};

constexpr Case cases[] = {
    {UIImageOrientation::up, "RGB/CMY", "RGB/CMY"},
    {UIImageOrientation::down, "YMC/BGR", "YMC/BGR"},
    {UIImageOrientation::left, "BY/GM/RC", "BY/GM/RC"},
    {UIImageOrientation::right, "CR/MG/YB", "CR/MG/YB"},
    {UIImageOrientation::upMirrored, "BGR/YMC", "RGB/CMY"},
    {UIImageOrientation::downMirrored, "CMY/RGB", "RGB/CMY"},
};

class OrientationTest : public testing::TestWithParam<Case> {};

TEST_P(OrientationTest, DrawInRectShowsThePictureUpright) {
  const auto image = opened(pngOf(bitmapOfLetters(stored), GetParam().orientation));
  ASSERT_TRUE(image);
  EXPECT_EQ(image->imageOrientation(), GetParam().orientation);
  EXPECT_EQ(lettersOf(image), stored);
  EXPECT_EQ(lettersOf(drawnAtOwnSize(image)), GetParam().shown);
}

TEST_P(OrientationTest, JpegsAreOrientedAlike) {
  constexpr std::size_t square = 16;
  const auto image = opened(jpegOf(bitmapOfLetters(stored, square), GetParam().orientation));
  ASSERT_TRUE(image);
  EXPECT_EQ(lettersOf(drawnAtOwnSize(image), square), GetParam().shown);
}

TEST_P(OrientationTest, CorrectionOfTheBareBitmapRotatesButNeverMirrors) {
  const auto image = opened(pngOf(bitmapOfLetters(stored), GetParam().orientation));
  Graphics graphics;
  const auto corrected =
      imageCorrectedForCaptureOrientation(graphics, image, image->imageOrientation());
  ASSERT_TRUE(corrected);
  EXPECT_EQ(corrected->imageOrientation(), UIImageOrientation::up);
  EXPECT_EQ(corrected->size(), image->size());
  if (!GetParam().corrected.empty()) {
    EXPECT_EQ(lettersOf(corrected), GetParam().corrected);
  }
}

INSTANTIATE_TEST_SUITE_P(All, OrientationTest, testing::ValuesIn(cases));

// These two show their sides exchanged, but are drawn bare into the shown size, and so stretched.
INSTANTIATE_TEST_SUITE_P(MirroredOnTheSide, OrientationTest,
                         testing::Values(Case{UIImageOrientation::leftMirrored, "RC/GM/BY", {}},
                                         Case{UIImageOrientation::rightMirrored, "YB/MG/CR", {}}));

TEST(OrientationTest, ABitmapDrawnBareIsUpsideDown) {
  const auto image = opened(pngOf(bitmapOfLetters(stored), UIImageOrientation::right));
  Graphics graphics;
  const auto context = graphics.beginImageContext({3, 2});
  context->currentContext()->drawImage(image->cgImage(), {0, 0, 3, 2});
  EXPECT_EQ(lettersOf(context->imageFromCurrentImageContext()), "CMY/RGB");
}

TEST(OrientationTest, PositiveRotationIsClockwiseAndTransformsApplyToLaterDrawingOnly) {
  const auto image = opened(pngOf(bitmapOfLetters("RG")));
  Graphics graphics;
  const auto context = graphics.beginImageContext({3, 3});
  context->drawInRect(image, {0, 0, 2, 1});
  context->currentContext()->translateBy(3, 1);
  context->currentContext()->rotateBy(1.5707963267948966);
  context->drawInRect(image, {0, 0, 2, 1});
  EXPECT_EQ(lettersOf(context->imageFromCurrentImageContext()), "RG./..R/..G");
}

TEST(OrientationTest, RotationsOneAfterTheOtherAreExact) {
  for (const auto& [there, back] :
       {std::pair{UIImageOrientation::left, UIImageOrientation::right},
        std::pair{UIImageOrientation::down, UIImageOrientation::down}}) {
    // What is drawn has orientation up, so that it is stored with a flag again.
    const auto once = drawnAtOwnSize(opened(pngOf(bitmapOfLetters(stored), there)));
    const auto twice = drawnAtOwnSize(opened(pngOf(pixelsOfImage(once), back)));
    EXPECT_EQ(lettersOf(twice), stored);
  }
}

TEST(OrientationTest, SizeIsTheShownOneAndTheBitmapKeepsTheStoredOne) {
  for (const auto orientation : allOrientations) {
    const auto image = opened(pngOf(bitmapOfLetters(stored), orientation));
    const bool onSide = orientationFor(orientation).swapsAxes;
    EXPECT_EQ(image->size(), onSide ? (CGSize{2, 3}) : (CGSize{3, 2}));
    EXPECT_EQ(image->cgImage()->width(), 3u);
    EXPECT_EQ(image->cgImage()->height(), 2u);
  }
}

}  // namespace
}  // namespace vecamera::device::imaging
