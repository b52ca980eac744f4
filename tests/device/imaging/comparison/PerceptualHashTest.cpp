#include "device/imaging/comparison/PerceptualHash.h"

#include <cmath>
#include <fstream>
#include <iterator>

#include "tests/device/imaging/TestJpegs.h"

namespace vecamera::device::imaging {
namespace {

constexpr int maxOfTheSame = 6;
constexpr int minOfOthers = 16;

Data sample(const std::string& name) {
  std::ifstream file(VECAMERA_SOURCE_DIR "/samples/" + name, std::ios::binary);
  return Data(std::vector<std::uint8_t>(std::istreambuf_iterator<char>(file), {}));
}

PerceptualHash hashOf(const Data& picture) {
  const auto header = readHeader(picture.bytes());
  const auto hash = header ? perceptualHash(picture.bytes(), *header) : header.failure();
  EXPECT_TRUE(hash);
  return hash ? *hash : PerceptualHash{};
}

Bitmap scaled(const Data& picture, double factor) {
  const auto image = opened(picture);
  const CGSize size{std::round(image->size().width * factor),
                    std::round(image->size().height * factor)};
  return pixelsOfImage(drawn(image, size, {0, 0, size.width, size.height}));
}

class PerceptualHashTest : public testing::Test {
 protected:
  const Data photo_ = sample("first-photo.jpg");
  const Bitmap pixels_ = scaled(photo_, 1);
};

TEST_F(PerceptualHashTest, HardlyDependsOnQualityAndFormat) {
  const auto hash = hashOf(photo_);
  for (const int quality : {50, 65, 80, 95})
    EXPECT_LE(distanceBetween(hash, hashOf(jpegOf(pixels_, UIImageOrientation::up, quality))), 2)
        << quality;
  EXPECT_LE(distanceBetween(hash, hashOf(pngOf(pixels_))), 2);
  EXPECT_LE(distanceBetween(hash, hashOf(webpOf(pixels_))), 2);
}

TEST_F(PerceptualHashTest, HardlyDependsOnTheSize) {
  for (const double factor : {0.1, 0.33, 0.5, 0.75, 1.5})
    EXPECT_LE(distanceBetween(hashOf(photo_),
                              hashOf(jpegOf(scaled(photo_, factor), UIImageOrientation::up, 80))),
              maxOfTheSame)
        << factor;
}

TEST_F(PerceptualHashTest, DiffersForAnotherAndForATurnedPicture) {
  const auto hash = hashOf(photo_);
  EXPECT_GE(distanceBetween(hash, hashOf(sample("PHOTO.jpg"))), minOfOthers);
  for (const auto orientation : allOrientations) {
    if (orientation == UIImageOrientation::up) continue;
    EXPECT_GE(distanceBetween(hash, hashOf(jpegOf(pixels_, orientation))), minOfOthers)
        << static_cast<int>(orientation);
  }
}

TEST_F(PerceptualHashTest, IsOfThePictureAsShown) {
  for (const auto orientation : allOrientations) {
    const auto upright = oriented(scaled(photo_, 0.5), orientationFor(orientation));
    for (const auto& stored : {jpegOf(pixels_, orientation), pngOf(pixels_, orientation)})
      EXPECT_LE(distanceBetween(hashOf(stored), hashOf(pngOf(*upright))), 2)
          << static_cast<int>(orientation);
  }
}

// What an encoder adds to a flat picture does not show; nor do the coefficients that a plain
// gradient should not have.
TEST_F(PerceptualHashTest, IsStableWhereMostCoefficientsTie) {
  for (const int level : {40, 100, 255}) {
    const auto flat = bitmapOf(70, 45, [&](auto, auto) { return Rgba{level, level / 2, level}; });
    for (const int quality : {50, 75, 95})
      EXPECT_EQ(hashOf(jpegOf(flat, UIImageOrientation::up, quality)), hashOf(pngOf(flat)))
          << level << " at " << quality;
  }
  const auto gradient = bitmapOf(640, 480, [](auto x, auto) {
    const int level = static_cast<int>(x) * 255 / 640;
    return Rgba{level, level, level};
  });
  EXPECT_EQ(hashOf(jpegOf(gradient, UIImageOrientation::up, 75)), hashOf(pngOf(gradient)));
}

TEST_F(PerceptualHashTest, ShowsTransparentPixelsOverWhite) {
  const auto clear = bitmapOfLetters("K.K/.K./KKK", 20);
  const auto white = bitmapOfLetters("KWK/WKW/KKK", 20);
  EXPECT_EQ(hashOf(pngOf(clear)), hashOf(pngOf(white)));
}

// The bits of one picture, by hand: all is white but the top half, so that the vertical odd
// frequencies differ from zero, with alternating signs.
TEST_F(PerceptualHashTest, HasTheBitsOfTheTransform) {
  EXPECT_EQ(toText(hashOf(pngOf(bitmapOfLetters("K/W", 32)))), "8000008000000080");
  EXPECT_EQ(toText(hashOf(pngOf(bitmapOfLetters("WK", 32)))), "c400000000000000");
}

TEST_F(PerceptualHashTest, IsMissingWhereThePictureIsBroken) {
  const auto header = readHeader(photo_.bytes());
  const auto half = photo_.bytes().first(photo_.size() / 2);
  const auto hash = perceptualHash(half, *header);
  ASSERT_FALSE(hash);
  EXPECT_EQ(hash.error(), ImageError::corrupt);
}

TEST_F(PerceptualHashTest, IsWrittenAsSixteenDigits) {
  const PerceptualHash hash{0x0123456789abcdefu};
  EXPECT_EQ(toText(hash), "0123456789abcdef");
  EXPECT_EQ(perceptualHashFromText("0123456789abcdef"), hash);
  for (const auto* text : {"", "123456789abcdef", "00123456789abcdef", "0123456789abcdeg",
                           "-123456789abcdef", "0x23456789abcdef"})
    EXPECT_FALSE(perceptualHashFromText(text)) << text;
}

}  // namespace
}  // namespace vecamera::device::imaging
