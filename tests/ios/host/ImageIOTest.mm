#import "ios/Sources/ImageIO.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "device/imaging/platform/Graphics.h"
#include "device/imaging/platform/ImageFactory.h"
#include "device/imaging/platform/SoftwareImageIO.h"
#include "ios/Sources/Images.h"
#include "tests/ios/host/ServicesPhone.h"

namespace vecamera_ios {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vecamera::Data;

class ImageIOTest : public testing::Test {
 protected:
  /// A picture of 16 by 16 points, as the module has it.
  std::shared_ptr<vecamera::UIImage> picture() {
    const auto context = deviceGraphics.beginImageContext({16, 16});
    return Images().imageWithData(
        *deviceImages.UIImagePNGRepresentation(context->imageFromCurrentImageContext()));
  }
  std::unique_ptr<vecamera::CGImageDestination> destination(std::string_view type = "public.jpeg",
                                                            std::size_t count = 1) {
    @autoreleasepool {
      return imageIO.CGImageDestinationCreateWithData(before, type, count);
    }
  }

  const Data before = Data::copyOf("as it was");
  vecamera::device::imaging::Graphics deviceGraphics;
  vecamera::device::imaging::ImageFactory deviceImages;
  /// What the device has encoded.
  std::vector<std::string> encoded;
  vecamera::device::imaging::SoftwareImageIO deviceImageIO{
      [this](std::string_view type, const vecamera::Dictionary& properties, std::size_t) {
        encoded.push_back(std::string(type) + " " + vecamera::describe(properties));
      }};
  ServicesPhone phone{{.imageIO = &deviceImageIO, .images = &deviceImages}};
  ImageIO imageIO;
};

TEST_F(ImageIOTest, SourceKnowsTheTypeOfItsBytes) {
  const Data png = *Images().UIImagePNGRepresentation(picture());
  const Data jpeg = *Images().UIImageJPEGRepresentation(picture(), 0.9);
  EXPECT_EQ(imageIO.CGImageSourceCreateWithData(png)->type(), "public.png");
  EXPECT_EQ(imageIO.CGImageSourceCreateWithData(jpeg)->type(), "public.jpeg");
  EXPECT_EQ(imageIO.CGImageSourceCreateWithData(before)->type(), std::nullopt);
  EXPECT_EQ(imageIO.CGImageSourceCreateWithData(Data()), nullptr);
  EXPECT_EQ(vecamera::ios::livingObjects("SoftwareImageSource"), 0u);
}

TEST_F(ImageIOTest, DestinationEncodesOnceAndWhenItsDataIsAskedFor) {
  auto made = destination();
  made->addImage(picture()->cgImage(),
                 {{"{GPS}", vecamera::Dictionary{{"Latitude", -33.5}, {"LatitudeRef", "S"}}}});
  EXPECT_EQ(made->data(), before);
  EXPECT_TRUE(made->finalize());
  EXPECT_THAT(encoded, IsEmpty());
  const Data written = made->data();
  EXPECT_THAT(encoded, ElementsAre("public.jpeg {{GPS}: {Latitude: -33.5, LatitudeRef: 'S'}}"));
  EXPECT_EQ(made->data(), written);
  EXPECT_FALSE(made->finalize()) << "once only";
  EXPECT_EQ(encoded.size(), 1u);

  const auto properties = imageIO.CIImageProperties(written);
  ASSERT_TRUE(properties);
  EXPECT_EQ(*vecamera::find(*properties, "PixelWidth")->integer(), 16);
  const auto* gps = vecamera::find(*properties, "{GPS}");
  ASSERT_TRUE(gps);
  EXPECT_EQ(*vecamera::find(*gps->dictionary(), "LatitudeRef")->text(), "S");
  EXPECT_EQ(imageIO.CIImageProperties(before), std::nullopt);
  made = nullptr;
  EXPECT_EQ(vecamera::ios::livingObjects("SoftwareImageDestination"), 0u);
}

TEST_F(ImageIOTest, DestinationThatCannotBeFilledKeepsItsBytes) {
  const auto noPicture = destination();
  const auto noBitmap = destination();
  noBitmap->addImage(nullptr, {});
  const auto foreign = destination();
  foreign->addImage(std::make_shared<vecamera::FakeBitmap>(), {});
  const auto tooMany = destination();
  tooMany->addImage(picture()->cgImage(), {});
  tooMany->addImage(picture()->cgImage(), {});
  for (const auto* made : {&noPicture, &noBitmap, &foreign, &tooMany}) {
    EXPECT_FALSE((*made)->finalize());
    EXPECT_EQ((*made)->data(), before);
  }
  EXPECT_EQ(destination("org.webmproject.webp"), nullptr);
  EXPECT_THAT(encoded, IsEmpty());
}

}  // namespace
}  // namespace vecamera_ios
