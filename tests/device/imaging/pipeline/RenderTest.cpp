#include "device/imaging/pipeline/Render.h"

#include "VECamera/imaging/ScalingAndOrientation.h"
#include "device/imaging/platform/Graphics.h"
#include "device/imaging/platform/ImageOperations.h"
#include "tests/device/imaging/TestJpegs.h"

namespace vecamera::device::imaging {
namespace {

// What was cropped must not come back through the filter, whichever stored axis it lies on.

constexpr Rgba red{255, 0, 0};
constexpr Rgba blue{0, 0, 255};

/// Red around a rectangle of blue, which is nearer to the top and the left.
Bitmap framed() {
  return bitmapOf(128, 96, [](std::size_t x, std::size_t y) {
    return x >= 24 && x < 88 && y >= 16 && y < 64 ? blue : red;
  });
}

Bitmap allBlue(std::size_t width, std::size_t height) {
  return bitmapOf(width, height, [](auto, auto) { return blue; });
}

TEST(RenderTest, APictureIsCroppedBeforeItIsScaled) {
  for (const auto orientation : allOrientations) {
    SCOPED_TRACE(static_cast<int>(orientation));
    const Bitmap stored = *oriented(framed(), inverse(orientationFor(orientation)));
    const auto cropped = [](const Data& bytes) {
      Graphics graphics;
      return imageByScalingNotCroppingForSize(
          graphics, croppedUpright(opened(bytes), {24, 16, 64, 48}), {24, 18});
    };
    EXPECT_EQ(
        largestDifference(pixelsOfImage(cropped(pngOf(stored, orientation))), allBlue(24, 18)), 0);
    const auto jpeg = cropped(jpegWith(stored, TJSAMP_444, orientation));
    expectSamePicture(jpeg, 1.0, 6, 1.5);
    EXPECT_LE(pixelAt(pixelsOfImage(jpeg), 0, 0).red, 8);
  }
}

TEST(RenderTest, ACroppedCanvasIsMirroredWithItsCrop) {
  // Enlarged, it has no stored rows to read. The crop is so much within the blue that enlarging
  // blends no red into it, but not so much that shrinking would not.
  const auto enlarged = drawn(opened(pngOf(framed())), {256, 192}, {0, 0, 256, 192});
  const auto cropped = croppedUpright(enlarged, {56, 40, 112, 80});
  Graphics graphics;
  const auto context = graphics.beginImageContext({24, 17});
  // A bare bitmap is drawn upside down.
  context->currentContext()->drawImage(cropped->cgImage(), {0, 0, 24, 17});
  EXPECT_EQ(
      largestDifference(pixelsOfImage(context->imageFromCurrentImageContext()), allBlue(24, 17)),
      0);
}

}  // namespace
}  // namespace vecamera::device::imaging
