#include "ios/Sources/Images.h"

#import <CoreImage/CoreImage.h>

#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "VECamera/imaging/ScalingAndOrientation.h"
#include "ios/Sources/Value.h"
#include "tests/device/imaging/TestPictures.h"
#include "tests/ios/host/TestPhone.h"
#include "tests/ios/platform/SoftwareImages.h"

// One of one colour, which is infinite.
@interface InfiniteImage : CIImage
@end
@implementation InfiniteImage
- (CGRect)extent {
  constexpr CGFloat huge = std::numeric_limits<CGFloat>::max();
  return CGRectMake(-huge / 2, -huge / 2, huge, huge);
}
- (CGImageRef)createBitmap CF_RETURNS_RETAINED {
  ADD_FAILURE() << "it is rendered";
  return nullptr;
}
@end

namespace vecamera_ios {
namespace {

using testing::Each;
using vecamera::UIImageOrientation;
using vecamera::device::imaging::allOrientations;
using vecamera::device::imaging::bitmapOfLetters;
using vecamera::device::imaging::opened;
using vecamera::device::imaging::pngOf;

using Picture = std::shared_ptr<vecamera::UIImage>;

class ImagesTest : public TestPhone {
 protected:
  static constexpr std::string_view letters = "RGB/CMY";

  static ::UIImage* native(const Picture& picture) {
    return dynamic_cast<const NativeReference&>(*picture).native();
  }
  static std::string lettersOf(const Picture& picture) {
    return vecamera::device::imaging::lettersOf(vecamera::ios::deviceImageOf(native(picture)));
  }
  Picture picture(UIImageOrientation orientation = UIImageOrientation::up) {
    return images.imageWithData(pngOf(bitmapOfLetters(letters), orientation));
  }

  ~ImagesTest() override { setMaxBitmapPixels(maxPixels_); }

  Images images;
  Graphics graphics;

 private:
  const std::uint64_t maxPixels_ = maxBitmapPixels();
};

TEST_F(ImagesTest, APictureIsWhatThePhoneSaysOfIt) {
  @autoreleasepool {
    const auto orientation = ::UIImageOrientationLeft;
    ::UIImage* const turned = [::UIImage imageWithCGImage:native(picture()).CGImage
                                                    scale:2
                                              orientation:orientation];
    const auto image = imageOf(turned);
    EXPECT_EQ(image->size(), (vecamera::CGSize{1, 1.5}));
    EXPECT_EQ(image->scale(), 2);
    EXPECT_EQ(image->imageOrientation(), UIImageOrientation::left);
    EXPECT_EQ(native(image), turned);
    const auto bitmap = image->cgImage();
    EXPECT_EQ(bitmap->width(), 3u);
    EXPECT_EQ(bitmap->height(), 2u);
    EXPECT_EQ(nativeImage(bitmap.get()), turned.CGImage);

    EXPECT_FALSE(imageOf(nil));
    EXPECT_FALSE(nativeImage(nullptr));
    const vecamera::FakeBitmap ofAnotherHost;
    EXPECT_FALSE(nativeImage(&ofAnotherHost));
    EXPECT_FALSE(images.imageWithData(vecamera::Data::copyOf("no picture")));
  }
}

TEST_F(ImagesTest, ScalingAndTurningDrawWhatTheDeviceDraws) {
  @autoreleasepool {
    for (const auto orientation : allOrientations) {
      const auto here = picture(orientation);
      const auto there = opened(pngOf(bitmapOfLetters(letters), orientation));
      const auto turned = imageCorrectedForCaptureOrientation(graphics, here, orientation);
      ASSERT_TRUE(turned);
      EXPECT_EQ(lettersOf(turned),
                vecamera::device::imaging::lettersOf(
                    imageCorrectedForCaptureOrientation(deviceGraphics, there, orientation)))
          << static_cast<int>(orientation);
      const auto scaled = imageByScalingNotCroppingForSize(graphics, here, {6, 6});
      EXPECT_EQ(lettersOf(scaled),
                vecamera::device::imaging::lettersOf(
                    imageByScalingNotCroppingForSize(deviceGraphics, there, {6, 6})))
          << static_cast<int>(orientation);
      EXPECT_EQ(scaled->scale(), 1);
    }
  }
}

TEST_F(ImagesTest, TheInnerOfTwoContextsIsDrawnOnAndEndedFirst) {
  @autoreleasepool {
    const auto red = images.imageWithData(pngOf(bitmapOfLetters("R")));
    {
      const auto outer = graphics.beginImageContext({2, 1});
      {
        const auto inner = graphics.beginImageContext({2, 1});
        inner->drawInRect(red, {1, 0, 1, 1});
        EXPECT_EQ(lettersOf(inner->imageFromCurrentImageContext()), ".R");
      }
      EXPECT_EQ(lettersOf(outer->imageFromCurrentImageContext()), "..");
    }
    EXPECT_FALSE(UIGraphicsGetCurrentContext());
  }
}

TEST_F(ImagesTest, ASizeThatCannotBeHadGivesNoContextAndLeavesAnOuterOneAlone) {
  @autoreleasepool {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    setMaxBitmapPixels(1000000);
    const auto red = images.imageWithData(pngOf(bitmapOfLetters("R")));
    const auto outer = graphics.beginImageContext({1, 1});
    const struct {
      const char* what;
      vecamera::CGSize size;
    } cases[] = {{"empty", {0, 10}},
                 {"negative", {10, -1}},
                 {"no number", {std::nan(""), 10}},
                 {"endless", {infinity, 10}},
                 {"over the limit", {1000, 1000.5}},
                 {"UIKit raises", {101, 100}}};
    for (const auto& [what, size] : cases) {
      const auto context = graphics.beginImageContext(size);
      ASSERT_TRUE(context) << what;
      EXPECT_FALSE(context->currentContext()) << what;
      context->drawInRect(red, {0, 0, 1, 1});
      EXPECT_FALSE(context->imageFromCurrentImageContext()) << what;
    }
    EXPECT_EQ(lettersOf(outer->imageFromCurrentImageContext()), ".");
    EXPECT_TRUE(graphics.beginImageContext({100, 100})->currentContext());
  }
}

TEST_F(ImagesTest, EncodesWithAQualityInsideOfItsRange) {
  @autoreleasepool {
    const auto image = picture(UIImageOrientation::right);
    const auto worst = images.UIImageJPEGRepresentation(image, 0);
    const auto best = images.UIImageJPEGRepresentation(image, 1);
    ASSERT_TRUE(worst && best);
    EXPECT_FALSE(*worst == *best);
    EXPECT_EQ(images.UIImageJPEGRepresentation(image, 7), best);
    EXPECT_EQ(images.UIImageJPEGRepresentation(image, -7), worst);
    EXPECT_EQ(images.UIImageJPEGRepresentation(image, std::nan("")), worst);
    EXPECT_EQ(images.imageWithData(*best)->imageOrientation(), UIImageOrientation::right);
    EXPECT_EQ(lettersOf(images.imageWithData(images.UIImagePNGRepresentation(image).value())),
              letters);

    const Picture stranger = std::make_shared<vecamera::FakeImage>("of another host");
    EXPECT_FALSE(images.UIImageJPEGRepresentation(stranger, 1));
    EXPECT_FALSE(images.UIImagePNGRepresentation(stranger));
    EXPECT_FALSE(images.UIImagePNGRepresentation(nullptr));
  }
}

TEST_F(ImagesTest, APictureWithoutABitmapIsRenderedOnceForAllThreads) {
  @autoreleasepool {
    // Rendered anew, it would be another bitmap.
    CIImage* const unrendered = [CIImage imageWithData:toNSData(pngOf(bitmapOfLetters(letters)))];
    const auto image = imageOf([::UIImage imageWithCIImage:unrendered]);
    EXPECT_EQ(image->size(), (vecamera::CGSize{3, 2}));
    std::vector<CGImageRef> bitmaps(4);
    std::vector<std::thread> threads;
    for (auto& bitmap : bitmaps)
      threads.emplace_back([&] { bitmap = nativeImage(image->cgImage().get()); });
    for (auto& thread : threads) thread.join();
    ASSERT_TRUE(bitmaps.front());
    EXPECT_THAT(bitmaps, Each(bitmaps.front()));
    EXPECT_EQ(lettersOf(images.imageWithData(images.UIImagePNGRepresentation(image).value())),
              letters);
    EXPECT_TRUE(images.UIImageJPEGRepresentation(image, 1));
    EXPECT_EQ(lettersOf(imageCorrectedForCaptureOrientation(graphics, image, {})), letters);

    const auto endless = imageOf([::UIImage imageWithCIImage:[[InfiniteImage alloc] init]]);
    EXPECT_FALSE(endless->cgImage());
    EXPECT_FALSE(images.UIImageJPEGRepresentation(endless, 1));
    setMaxBitmapPixels(5);
    EXPECT_FALSE(imageOf([::UIImage imageWithCIImage:unrendered])->cgImage());
  }
}

}  // namespace
}  // namespace vecamera_ios
