#include "device/camera/TestScene.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/metadata/Metadata.h"
#include "device/imaging/pipeline/Render.h"
#include "device/imaging/platform/DeviceImage.h"
#include "device/imaging/platform/ImageFactory.h"
#include "device/imaging/platform/ImageOperations.h"

namespace vecamera::device::camera {
namespace {

imaging::Bitmap pixelsOf(const Data& data) {
  const auto image = imaging::ImageFactory().imageWithData(data);
  return *imaging::render(*imaging::lazyImageOf(image.get()));
}

/// The picture as it is seen, no larger than 60 pixels.
imaging::Bitmap shownSmall(const Data& scene) {
  return pixelsOf(*imaging::thumbnail(scene, 60));
}

TEST(TestSceneTest, LooksTheSameHoweverItIsStored) {
  const imaging::Bitmap expected =
      shownSmall(*generateTestScene(240, 320, UIImageOrientation::up, 1, {}));
  ASSERT_EQ(expected.height(), 60u);
  // Bright sky above, dark meadow below.
  EXPECT_GT(expected.bytesOfRow(30)[2], expected.bytesOfRow(59)[2] + 40);
  for (int value = 1; value < 8; ++value) {
    const auto orientation = static_cast<UIImageOrientation>(value);
    const bool onSide = value % 4 >= 2;
    const Data scene =
        *generateTestScene(onSide ? 320 : 240, onSide ? 240 : 320, orientation, 1, {});
    ASSERT_EQ(imaging::readHeader(scene.bytes())->orientation, orientation);
    const imaging::Bitmap shown = shownSmall(scene);
    ASSERT_EQ(shown.width(), expected.width());
    double difference = 0;
    for (std::size_t i = 0; i < shown.strideBytes() * shown.height(); ++i)
      difference += std::abs(shown.bytesOfRow(0)[i] - expected.bytesOfRow(0)[i]);
    EXPECT_LT(difference / static_cast<double>(shown.strideBytes() * shown.height()), 2) << value;
  }
}

TEST(TestSceneTest, IsTheSameForTheSameSeedOnly) {
  const auto scene = [](std::uint32_t seed) {
    return *generateTestScene(64, 48, UIImageOrientation::right, seed, {});
  };
  EXPECT_EQ(scene(5), scene(5));
  EXPECT_NE(scene(5), scene(6));
}

TEST(TestSceneTest, CarriesTheCamerasMetadataAndTheGiven) {
  const Data scene = *generateTestScene(
      64, 48, UIImageOrientation::right, 1,
      {{"{Exif}", Dictionary{{"DateTimeOriginal", "2024:05:01 14:03:20"}, {"FNumber", 2.4}}}});
  const Dictionary properties = *imaging::readProperties(scene);
  const Dictionary& exif = *properties.at("{Exif}").dictionary();
  EXPECT_EQ(properties.at("Orientation"), Value(6));
  EXPECT_EQ(properties.at("{TIFF}").dictionary()->at("Make"), Value("VECamera"));
  EXPECT_EQ(exif.at("PixelXDimension"), Value(64));
  EXPECT_EQ(exif.at("ExposureTime"), Value(1.0 / 120));
  EXPECT_EQ(exif.at("DateTimeOriginal"), Value("2024:05:01 14:03:20"));
  EXPECT_EQ(exif.at("FNumber"), Value(2.4));
}

TEST(TestSceneTest, SidesThatNoJpegHasAreAnError) {
  EXPECT_FALSE(generateTestScene(0, 10, UIImageOrientation::up, 1, {}));
  EXPECT_FALSE(generateTestScene(10, 65501, UIImageOrientation::up, 1, {}));
}

/// samples/PHOTO.jpg is made by this call. Other versions of the JPEG library may write other
/// bytes, so the pixels are compared.
TEST(TestSceneTest, MakesTheSamplePhoto) {
  const Dictionary exif{{"DateTimeDigitized", "2024:03:01 16:20:05"},
                        {"DateTimeOriginal", "2024:03:01 16:20:05"},
                        {"OffsetTimeOriginal", "+01:00"}};
  const Dictionary gps{{"Altitude", 1608.5},  {"AltitudeRef", 0},       {"DateStamp", "2024:03:01"},
                       {"Latitude", 46.0207}, {"LatitudeRef", "N"},     {"Longitude", 7.7491},
                       {"LongitudeRef", "E"}, {"TimeStamp", "15:20:05"}};
  const Data made = *generateTestScene(2016, 1512, UIImageOrientation::right, 0,
                                       {{"{Exif}", exif}, {"{GPS}", gps}});
  std::ifstream file(VECAMERA_SOURCE_DIR "/samples/PHOTO.jpg", std::ios::binary);
  const Data sample(std::vector<std::uint8_t>(std::istreambuf_iterator<char>(file), {}));
  EXPECT_LT(sample.size(), 600'000u);
  EXPECT_EQ(*imaging::readProperties(sample), *imaging::readProperties(made));
  const imaging::Bitmap expected = pixelsOf(made);
  const imaging::Bitmap actual = pixelsOf(sample);
  int largest = 0;
  for (std::size_t y = 0; y < expected.height(); ++y)
    for (std::size_t i = 0; i < expected.strideBytes(); ++i)
      largest = std::max(largest, std::abs(expected.bytesOfRow(y)[i] - actual.bytesOfRow(y)[i]));
  EXPECT_LE(largest, 16);
}

}  // namespace
}  // namespace vecamera::device::camera
