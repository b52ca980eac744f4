#include "device/imaging/platform/Pictures.h"

#include <cmath>

#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device::imaging {
namespace {

TEST(Pictures, CropsAreOfTheUprightPicture) {
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

TEST(Pictures, ProbingTellsFormatSidesAndOrientation) {
  const Bitmap picture = bitmapOfLetters("RGB/CMY");
  const auto jpeg = probe(jpegOf(picture, UIImageOrientation::leftMirrored)).value();
  EXPECT_EQ(jpeg.format, PictureFormat::jpeg);
  EXPECT_EQ(jpeg.extension, "jpg");
  EXPECT_EQ(jpeg.orientation, UIImageOrientation::leftMirrored);
  EXPECT_EQ(jpeg.storedWidth, 3u);
  EXPECT_EQ(jpeg.storedHeight, 2u);
  EXPECT_EQ(jpeg.displayedWidth, 2u);
  EXPECT_EQ(jpeg.displayedHeight, 3u);
  EXPECT_EQ(probe(pngOf(picture))->extension, "png");
  EXPECT_EQ(probe(webpOf(picture))->extension, "webp");
  const auto heic = probe(fixture("turned.heic")).value();
  EXPECT_EQ(heic.extension, "heic");
  EXPECT_EQ(heic.displayedWidth, 64u);
  EXPECT_EQ(heic.displayedHeight, 96u);
}

TEST(Pictures, ThumbnailsAreUprightAndNeverEnlarged) {
  const Data turned = jpegOf(bitmapOfLetters("RGB/CMY", 64), UIImageOrientation::right);
  const auto small = probe(thumbnail(turned, 48).value()).value();
  EXPECT_EQ(small.format, PictureFormat::jpeg);
  EXPECT_EQ(small.orientation, UIImageOrientation::up);
  EXPECT_EQ(small.storedWidth, 32u);
  EXPECT_EQ(small.storedHeight, 48u);
  EXPECT_EQ(lettersOf(opened(thumbnail(turned, 1000).value()), 64), "CR/MG/YB");
  EXPECT_EQ(probe(thumbnail(turned, 1000).value())->storedWidth, 128u);
  EXPECT_FALSE(thumbnail(turned, 0));
  EXPECT_FALSE(thumbnail(Data::copyOf("no picture"), 100));
}

}  // namespace
}  // namespace vecamera::device::imaging
