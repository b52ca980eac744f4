#include <libdeflate.h>

#include <algorithm>
#include <random>
#include <string_view>

#include "VECamera/imaging/ScalingAndOrientation.h"
#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/metadata/Metadata.h"
#include "device/imaging/pipeline/Render.h"
#include "device/imaging/platform/DeviceImage.h"
#include "device/imaging/platform/Graphics.h"
#include "device/imaging/platform/ImageFactory.h"
#include "device/imaging/platform/ImageOperations.h"
#include "device/imaging/platform/SoftwareImageIO.h"
#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device::imaging {
namespace {

using Raw = std::vector<std::uint8_t>;

Data withMetadata(const Data& picture) {
  const Dictionary exif{{"DateTimeOriginal", "2024:05:01 14:03:20"},
                        {"LensSpecification", Array{4.2, 4.2, 1.8, 1.8}},
                        {"UserComment", "A comment."}};
  const Dictionary gps{{"Latitude", 10.5}, {"LatitudeRef", "N"}, {"TimeStamp", "14:03:20.5"}};
  return *writeProperties(picture, {{"{Exif}", exif}, {"{GPS}", gps}});
}

struct Sample {
  const char* name;
  Data bytes;
};

std::vector<Sample> samples() {
  const Bitmap picture = bitmapOfLetters("RGB.CM/Y.KWRG/BCMYKW", 7);
  return {{"jpeg", withMetadata(jpegOf(picture, UIImageOrientation::right, 80))},
          {"png", withMetadata(pngOf(picture, UIImageOrientation::left))},
          {"webp", webpOf(picture)},
          {"heic", fixture("rotated.heic")}};
}

/// Whether the picture can be decoded at an eighth of its size.
bool makesTinyJpeg(const std::shared_ptr<UIImage>& image) {
  Graphics graphics;
  const auto tiny = imageByScalingNotCroppingForSize(graphics, image, {2, 2});
  return ImageFactory().UIImageJPEGRepresentation(tiny, 0.5).has_value();
}

/// Everything that the device does with bytes from outside. Gives whether there were pixels.
bool survives(const Data& data) {
  const auto header = readHeader(data.bytes());
  const auto properties = readProperties(data);
  const auto image = opened(data);
  EXPECT_EQ(bool(header), bool(properties));
  if (properties) static_cast<void>(writeProperties(data, *properties));
  // A flip in the head may well claim a large picture that is not worth the test's time.
  constexpr std::size_t largest = 4'000'000;
  if (!image || std::size_t{header->width} * header->height > largest) return false;
  const auto pixels = render(*lazyImageOf(image.get()));
  const auto small = thumbnail(data, 16);
  // Rotated without being decoded, scaled as planes, and written row by row.
  ImageFactory images;
  for (const double quality : {1.0, 0.5})
    EXPECT_EQ(images.UIImageJPEGRepresentation(image, quality).has_value(), bool(pixels));
  EXPECT_EQ(images.UIImagePNGRepresentation(image).has_value(), bool(pixels));
  // A tiny one may come of damaged bytes: a head may claim a picture so narrow that nothing of it
  // is to be seen, and nothing is decoded then.
  EXPECT_TRUE(makesTinyJpeg(image) || !pixels);
  if (!pixels) return false;
  EXPECT_EQ(pixels->width(), header->width);
  EXPECT_EQ(pixels->height(), header->height);
  EXPECT_TRUE(small);
  return true;
}

TEST(HostileBytesTest, APictureThatEndsEarlyHasNoPixels) {
  for (const auto& [name, whole] : samples()) {
    EXPECT_TRUE(survives(whole)) << name;
    // The last chunk of a PNG may lack its checksum: it has no contents to check.
    const std::size_t end = whole.size() - (name == std::string_view("png") ? 4 : 0);
    const std::size_t step = std::max<std::size_t>(1, end / 150);
    for (std::size_t size = 0; size < end; size += step) {
      SCOPED_TRACE(name + std::string(" of ") + std::to_string(size));
      const Data cut = Data::copyOf(whole.bytes().first(size));
      EXPECT_FALSE(survives(cut));
      const auto image = opened(cut);
      EXPECT_FALSE(image && makesTinyJpeg(image));
    }
  }
}

TEST(HostileBytesTest, FlippedBytesGiveAPictureOfTheRightSizeOrNothing) {
  std::mt19937 random(20240501);
  for (const auto& [name, whole] : samples()) {
    SCOPED_TRACE(name);
    for (int round = 0; round < 400; ++round) {
      Raw bytes(whole.bytes().begin(), whole.bytes().end());
      // Heads are short, and most of what can go wrong is in them.
      const std::size_t reach = round % 2 ? bytes.size() : std::min<std::size_t>(bytes.size(), 400);
      for (int flips = 1 + round % 5; flips > 0; --flips)
        bytes[random() % reach] ^= static_cast<std::uint8_t>(1u << random() % 8);
      survives(Data(std::move(bytes)));
    }
  }
}

void patch(Raw& bytes, std::size_t at, std::uint32_t number, int size) {
  for (int i = 0; i < size; ++i)
    bytes[at + static_cast<std::size_t>(i)] =
        static_cast<std::uint8_t>(number >> 8 * (size - 1 - i));
}

Data pngClaiming(std::uint32_t width, std::uint32_t height) {
  const Data small = pngOf(bitmapOfLetters("RGB/CMY"));
  Raw bytes(small.bytes().begin(), small.bytes().end());
  constexpr std::size_t headerType = 12;
  constexpr std::size_t headerSize = 17;
  patch(bytes, headerType + 4, width, 4);
  patch(bytes, headerType + 8, height, 4);
  patch(bytes, headerType + headerSize, libdeflate_crc32(0, bytes.data() + headerType, headerSize),
        4);
  return Data(std::move(bytes));
}

Data jpegClaiming(std::uint32_t width, std::uint32_t height) {
  const Data small = jpegOf(bitmapOfLetters("RGB/CMY", 8));
  Raw bytes(small.bytes().begin(), small.bytes().end());
  constexpr std::uint8_t frame[] = {0xFF, 0xC0, 0x00, 0x11};
  const auto at = static_cast<std::size_t>(
      std::search(bytes.begin(), bytes.end(), std::begin(frame), std::end(frame)) - bytes.begin());
  patch(bytes, at + 5, height, 2);
  patch(bytes, at + 7, width, 2);
  return Data(std::move(bytes));
}

TEST(HostileBytesTest, AbsurdSizesAreRefusedBeforeAnyMemoryIsTaken) {
  EXPECT_FALSE(opened(pngClaiming(0x7FFFFFFF, 0x7FFFFFFF)));
  EXPECT_FALSE(opened(pngClaiming(100000, 100000)));
  EXPECT_FALSE(opened(jpegClaiming(65500, 65500)));
}

TEST(HostileBytesTest, FewBytesCannotHoldAPictureWithinTheLimitEither) {
  for (const Data& claim : {pngClaiming(20000, 20000), jpegClaiming(20000, 20000),
                            pngClaiming(400'000'000, 1), jpegClaiming(24, 17)}) {
    const auto image = opened(claim);
    ASSERT_TRUE(image);
    ASSERT_TRUE(image->cgImage());
    EXPECT_FALSE(ImageFactory().UIImageJPEGRepresentation(image, 1));
    EXPECT_FALSE(ImageFactory().UIImagePNGRepresentation(image));
    EXPECT_FALSE(thumbnail(claim, 100));
    SoftwareImageIO imageIO;
    const auto destination = imageIO.CGImageDestinationCreateWithData(claim, "public.jpeg", 1);
    destination->addImage(image->cgImage(), {});
    EXPECT_FALSE(destination->finalize());
    EXPECT_EQ(destination->data(), claim);
  }
}

}  // namespace
}  // namespace vecamera::device::imaging
