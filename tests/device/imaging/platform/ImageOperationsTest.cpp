#include "device/imaging/platform/ImageOperations.h"

#include <cmath>

#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/jpeg/JpegCodec.h"
#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device::imaging {
namespace {

TEST(ImageOperationsTest, CropsAreOfTheUprightPicture) {
  const auto image = opened(pngOf(bitmapOfLetters("RGB/CMY"), UIImageOrientation::right));
  // Upright it is CR/MG/YB.
  const std::pair<CGRect, std::string_view> cases[] = {
      {{0, 0, 2, 3}, "CR/MG/YB"},    {{1, 1, 1, 2}, "G/B"},
      {{-5, 2, 100, 100}, "YB"},     {{0.9, 0, 0.2, 1}, "CR"},
      {{0, 3, 2, 2}, "no picture"},  {{0, 0, 0, 1}, "no picture"},
      {{1, 1, -1, 1}, "no picture"}, {{0, std::nan(""), 1, 1}, "no picture"}};
  for (const auto& [rect, shown] : cases) {
    const auto cropped = croppedUpright(image, rect);
    EXPECT_EQ(lettersOf(cropped), shown) << rect.x << ", " << rect.y;
    EXPECT_TRUE(!cropped || cropped->imageOrientation() == UIImageOrientation::up);
  }
  EXPECT_FALSE(croppedUpright(nullptr, {0, 0, 1, 1}));
}

TEST(ImageOperationsTest, ThumbnailsAreUprightAndNeverEnlarged) {
  const Data rotated = jpegOf(bitmapOfLetters("RGB/CMY", 64), UIImageOrientation::right);
  const auto small = *readHeader(thumbnail(rotated, 48)->bytes());
  EXPECT_EQ(small.format, jpegFormat);
  EXPECT_EQ(small.orientation, UIImageOrientation::up);
  EXPECT_EQ(small.width, 32u);
  EXPECT_EQ(small.height, 48u);
  EXPECT_EQ(lettersOf(opened(*thumbnail(rotated, 1000)), 64), "CR/MG/YB");
  EXPECT_EQ(readHeader(thumbnail(rotated, 1000)->bytes())->width, 128u);
  EXPECT_FALSE(thumbnail(rotated, 0));
  EXPECT_FALSE(thumbnail(Data::copyOf("no picture"), 100));
}

}  // namespace
}  // namespace vecamera::device::imaging
