#include "device/imaging/platform/SoftwareImageIO.h"

#include <gmock/gmock.h>

#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/metadata/Metadata.h"
#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device::imaging {
namespace {

using testing::_;

TEST(SoftwareImageIOTest, SourcesHaveTheTypeOfTheirBytes) {
  SoftwareImageIO imageIO;
  const Bitmap picture = bitmapOfLetters("RG");
  const std::pair<Data, std::optional<std::string>> cases[] = {
      {jpegOf(picture), "public.jpeg"},
      {pngOf(picture), "public.png"},
      {webpOf(picture), "org.webmproject.webp"},
      {fixture("rotated.heic"), "public.heic"},
      {Data::copyOf("no picture"), std::nullopt}};
  for (const auto& [data, type] : cases)
    EXPECT_EQ(imageIO.CGImageSourceCreateWithData(data)->type(), type);
  EXPECT_FALSE(imageIO.CGImageSourceCreateWithData(Data()));
}

TEST(SoftwareImageIOTest, DestinationsEncodeWithTheProperties) {
  testing::MockFunction<void(std::string_view, const Dictionary&, std::size_t)> onFinalized;
  SoftwareImageIO imageIO(onFinalized.AsStdFunction());
  const Data before = Data::copyOf("before");
  const auto image = opened(pngOf(bitmapOfLetters("RGB/CMY", 8), UIImageOrientation::right));
  const Dictionary properties{{"{GPS}", Dictionary{{"Latitude", -1.5}, {"LatitudeRef", "S"}}},
                              {"Unknown", 3}};
  for (const std::string type : {"public.jpeg", "public.png"}) {
    const auto destination = imageIO.CGImageDestinationCreateWithData(before, type, 1);
    ASSERT_TRUE(destination);
    destination->addImage(image->cgImage(), properties);
    EXPECT_EQ(destination->data(), before);
    std::size_t notifiedBytes = 0;
    EXPECT_CALL(onFinalized, Call(std::string_view(type), properties, _))
        .WillOnce(testing::SaveArg<2>(&notifiedBytes));
    EXPECT_TRUE(destination->finalize());
    const Data after = destination->data();
    EXPECT_EQ(notifiedBytes, after.size());
    const auto header = readHeader(after.bytes());
    EXPECT_EQ(header->format.typeIdentifier, type);
    // The bare bitmap, whose orientation the properties would have to give.
    EXPECT_EQ(header->orientation, UIImageOrientation::up);
    EXPECT_EQ(lettersOf(opened(after), 8), "RGB/CMY");
    const auto read = imageIO.CIImageProperties(after);
    EXPECT_EQ(read->at("{GPS}").dictionary()->at("Latitude"), Value(1.5));
    EXPECT_FALSE(destination->finalize());
    EXPECT_EQ(destination->data(), after);
  }
}

TEST(SoftwareImageIOTest, DestinationsThatCannotBeFinishedKeepTheirBytes) {
  testing::MockFunction<void(std::string_view, const Dictionary&, std::size_t)> onFinalized;
  EXPECT_CALL(onFinalized, Call(_, _, _)).Times(0);
  SoftwareImageIO imageIO(onFinalized.AsStdFunction());
  EXPECT_FALSE(imageIO.CGImageDestinationCreateWithData({}, "public.heic", 1));
  EXPECT_FALSE(imageIO.CGImageDestinationCreateWithData({}, "", 1));
  EXPECT_FALSE(imageIO.CGImageDestinationCreateWithData({}, "public.jpeg", 0));
  EXPECT_FALSE(imageIO.CGImageDestinationCreateWithData({}, "public.jpeg", 2));
  const auto image = opened(pngOf(bitmapOfLetters("R")))->cgImage();
  const Data before = Data::copyOf("before");
  const std::vector<std::shared_ptr<const CGImage>> added[] = {{}, {nullptr}, {image, image}};
  for (const auto& images : added) {
    const auto destination = imageIO.CGImageDestinationCreateWithData(before, "public.jpeg", 1);
    for (const auto& one : images) destination->addImage(one, {});
    EXPECT_FALSE(destination->finalize());
    EXPECT_EQ(destination->data(), before);
  }
}

TEST(SoftwareImageIOTest, TheQualityPropertyRulesJpegs) {
  SoftwareImageIO imageIO;
  const auto image = opened(pngOf(bitmapOfLetters("RGB/CMY/KWR", 9)))->cgImage();
  const auto sizeWith = [&](const Dictionary& properties) {
    const auto destination = imageIO.CGImageDestinationCreateWithData({}, "public.jpeg", 1);
    destination->addImage(image, properties);
    EXPECT_TRUE(destination->finalize());
    return destination->data().size();
  };
  const std::string key = "kCGImageDestinationLossyCompressionQuality";
  EXPECT_LT(sizeWith({{key, 0.1}}), sizeWith({}));
  EXPECT_LT(sizeWith({}), sizeWith({{key, 1}}));
}

}  // namespace
}  // namespace vecamera::device::imaging
