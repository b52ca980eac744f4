#include "device/imaging/platform/ImageFiles.h"

#include <gmock/gmock.h>

#include "device/imaging/metadata/Metadata.h"
#include "device/imaging/platform/Pictures.h"
#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device::imaging {
namespace {

using testing::_;

TEST(ImageFiles, SourcesTellTheTypeOfTheirBytes) {
  ImageFiles files;
  const Bitmap picture = bitmapOfLetters("RG");
  const std::pair<Data, std::optional<std::string>> cases[] = {
      {jpegOf(picture), "public.jpeg"},
      {pngOf(picture), "public.png"},
      {webpOf(picture), "org.webmproject.webp"},
      {fixture("turned.heic"), "public.heic"},
      {Data::copyOf("no picture"), std::nullopt}};
  for (const auto& [data, type] : cases)
    EXPECT_EQ(files.CGImageSourceCreateWithData(data)->type(), type);
  EXPECT_FALSE(files.CGImageSourceCreateWithData(Data()));
}

TEST(ImageFiles, DestinationsEncodeWithTheProperties) {
  testing::MockFunction<void(std::string_view, const Dictionary&, std::size_t)> observer;
  ImageFiles files(observer.AsStdFunction());
  const Data before = Data::copyOf("before");
  const auto image = opened(pngOf(bitmapOfLetters("RGB/CMY", 8), UIImageOrientation::right));
  const Dictionary properties{{"{GPS}", Dictionary{{"Latitude", -1.5}, {"LatitudeRef", "S"}}},
                              {"Unknown", 3}};
  for (const std::string type : {"public.jpeg", "public.png"}) {
    const auto destination = files.CGImageDestinationCreateWithData(before, type, 1);
    ASSERT_TRUE(destination);
    destination->addImage(image->cgImage(), properties);
    EXPECT_EQ(destination->data(), before);
    std::size_t told = 0;
    EXPECT_CALL(observer, Call(std::string_view(type), properties, _))
        .WillOnce(testing::SaveArg<2>(&told));
    EXPECT_TRUE(destination->finalize());
    const Data after = destination->data();
    EXPECT_EQ(told, after.size());
    EXPECT_EQ(probe(after)->type, type);
    // The bare bitmap, whose orientation the properties would have to tell.
    EXPECT_EQ(probe(after)->orientation, UIImageOrientation::up);
    EXPECT_EQ(lettersOf(opened(after), 8), "RGB/CMY");
    const auto read = files.CIImageProperties(after);
    EXPECT_EQ(read->at("{GPS}").dictionary()->at("Latitude"), Value(1.5));
    EXPECT_FALSE(destination->finalize());
    EXPECT_EQ(destination->data(), after);
  }
}

TEST(ImageFiles, DestinationsThatCannotBeFinishedKeepTheirBytes) {
  testing::MockFunction<void(std::string_view, const Dictionary&, std::size_t)> observer;
  EXPECT_CALL(observer, Call(_, _, _)).Times(0);
  ImageFiles files(observer.AsStdFunction());
  EXPECT_FALSE(files.CGImageDestinationCreateWithData({}, "public.heic", 1));
  EXPECT_FALSE(files.CGImageDestinationCreateWithData({}, "", 1));
  EXPECT_FALSE(files.CGImageDestinationCreateWithData({}, "public.jpeg", 0));
  EXPECT_FALSE(files.CGImageDestinationCreateWithData({}, "public.jpeg", 2));
  const auto image = opened(pngOf(bitmapOfLetters("R")))->cgImage();
  const Data before = Data::copyOf("before");
  const std::vector<std::shared_ptr<const CGImage>> added[] = {{}, {nullptr}, {image, image}};
  for (const auto& images : added) {
    const auto destination = files.CGImageDestinationCreateWithData(before, "public.jpeg", 1);
    for (const auto& one : images) destination->addImage(one, {});
    EXPECT_FALSE(destination->finalize());
    EXPECT_EQ(destination->data(), before);
  }
}

TEST(ImageFiles, TheQualityPropertyRulesJpegs) {
  ImageFiles files;
  const auto image = opened(pngOf(bitmapOfLetters("RGB/CMY/KWR", 9)))->cgImage();
  const auto sizeWith = [&](const Dictionary& properties) {
    const auto destination = files.CGImageDestinationCreateWithData({}, "public.jpeg", 1);
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
