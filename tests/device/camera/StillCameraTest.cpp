#include "device/camera/StillCamera.h"

#include <gtest/gtest.h>

#include "VECamera/platform/ImageIO.h"
#include "device/camera/TestScene.h"
#include "device/imaging/platform/ImageFactory.h"

namespace vecamera::device::camera {
namespace {

using Camera = UIImagePickerControllerCameraDevice;

TEST(StillCameraTest, FrontAndRearSeeScenesOfTheirOwn) {
  const StillCamera camera;
  EXPECT_FALSE(camera.view(Camera::rear).empty());
  EXPECT_FALSE(camera.view(Camera::front).empty());
  EXPECT_FALSE(camera.view(Camera::rear) == camera.view(Camera::front));
}

TEST(StillCameraTest, APictureIsSeenByItsCameraOnly) {
  StillCamera camera;
  const Data before = camera.view(Camera::rear);
  const Data picture = *generateTestScene(64, 48, UIImageOrientation::up, 9, {});
  camera.pointAt(Camera::front, picture);
  EXPECT_EQ(camera.view(Camera::front), picture);
  EXPECT_EQ(camera.view(Camera::rear), before);
}

TEST(StillCameraTest, ACaptureCarriesTheOriginalTheEditAndTheMetadata) {
  imaging::ImageFactory images;
  const StillCamera camera;
  const Dictionary info = camera.capture(images, Camera::rear, {CGRect{10, 20, 30, 40}});
  const auto original = find(info, UIImagePickerControllerOriginalImage)->object<UIImage>();
  EXPECT_EQ(original->size(), (CGSize{768, 1024})) << "held upright";
  const auto edited = find(info, UIImagePickerControllerEditedImage)->object<UIImage>();
  EXPECT_EQ(edited->size(), (CGSize{30, 40}));
  const auto* metadata = find(info, UIImagePickerControllerMediaMetadata)->dictionary();
  ASSERT_NE(metadata, nullptr);
  EXPECT_TRUE(metadata->contains(kCGImagePropertyExifDictionary));
}

TEST(StillCameraTest, BytesThatAreNoPictureGiveNeitherOriginalNorMetadata) {
  imaging::ImageFactory images;
  StillCamera camera;
  camera.pointAt(Camera::rear, Data::copyOf("no picture"));
  const Dictionary info = camera.capture(images, Camera::rear, {});
  EXPECT_FALSE(info.contains(UIImagePickerControllerOriginalImage));
  EXPECT_FALSE(info.contains(UIImagePickerControllerMediaMetadata));
}

}  // namespace
}  // namespace vecamera::device::camera
