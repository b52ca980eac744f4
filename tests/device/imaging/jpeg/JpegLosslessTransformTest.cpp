#include "device/imaging/jpeg/JpegLosslessTransform.h"

#include "device/imaging/platform/ImageFactory.h"
#include "tests/device/imaging/TestJpegs.h"

namespace vecamera::device::imaging {
namespace {

using Raw = std::vector<std::uint8_t>;

TEST(JpegLosslessTransformTest, OrientsThePictureAndChangesNothingElse) {
  for (const auto& [name, sampling] : samplings)
    for (const auto orientation : allOrientations)
      // Whole blocks of every sampling, and sides that end inside of a block.
      for (const auto& [width, height] : {std::pair{64u, 96u}, std::pair{75u, 53u}}) {
        SCOPED_TRACE(std::string(name) + ", orientation " +
                     std::to_string(static_cast<int>(orientation)));
        const auto image = opened(jpegWith(landscape(width, height), sampling, orientation));
        const auto upright = drawnAtOwnSize(image);
        // Upsampling of chroma is not quite the same in both directions.
        expectSamePicture(upright, 1.0, 12, 1.0);
      }
}

TEST(JpegLosslessTransformTest, TransformsComeBackBitForBit) {
  const Data stored = jpegWith(landscape(64, 96), TJSAMP_420, UIImageOrientation::up);
  const auto transform = [](const Data& jpeg, const Orientation& by) {
    return Data(*transformJpegLosslessly(jpeg.bytes(), *readHeader(jpeg.bytes()), by, {}));
  };
  const Data plain = transform(stored, {});
  EXPECT_EQ(largestDifference(pixelsOfImage(opened(plain)), pixelsOfImage(opened(stored))), 0);
  for (const auto orientation : allOrientations) {
    const Orientation there = orientationFor(orientation);
    EXPECT_EQ(transform(transform(stored, there), inverse(there)), plain)
        << static_cast<int>(orientation);
  }
}

TEST(JpegLosslessTransformTest, CoefficientsWithoutAHuffmanCodeAreUnsupported) {
  // One grey block, written by hand: of its codes the first is for a difference of the mean of 0,
  // the other two for a frequency of eleven bits and for the end of the block.
  Raw jpeg{0xFF, 0xD8, 0xFF, 0xDB, 0, 67, 0};
  jpeg.insert(jpeg.end(), 64, 1);
  const Raw frame{0xFF, 0xC0, 0, 11, 8, 0, 8, 0, 8, 1, 1, 0x11, 0};
  const Raw meanCodes{0xFF, 0xC4, 0, 20, 0x00, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const Raw codes{0xFF, 0xC4, 0, 21, 0x10, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x0B, 0};
  // 0 0 11111010000 10, filled up with ones: the frequency is 2000.
  const Raw scan{0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0, 0x3E, 0x85, 0xFF, 0xD9};
  for (const Raw& part : {frame, meanCodes, codes, scan})
    jpeg.insert(jpeg.end(), part.begin(), part.end());
  const auto image = opened(Data(jpeg));
  ASSERT_TRUE(image);
  EXPECT_EQ(transformJpegLosslessly(jpeg, *readHeader(jpeg), {}, {}).error(),
            ImageError::unsupported);
  expectSamePicture(drawn(image, {8, 8}, {0, 0, 8, 8}), 1.0, 3, 1);
  EXPECT_TRUE(ImageFactory().UIImagePNGRepresentation(image));
}

TEST(JpegLosslessTransformTest, DamageIsNoReasonToTryAnotherPath) {
  const Data whole = jpegWith(landscape(64, 96), TJSAMP_420, UIImageOrientation::up);
  const Bytes cut = whole.bytes().first(whole.size() * 2 / 3);
  const auto header = *readHeader(cut);
  EXPECT_EQ(transformJpegLosslessly(cut, header, {}, {}).error(), ImageError::corrupt);
  // A mirrored side ends inside of a block.
  const Data odd = jpegWith(landscape(63, 96), TJSAMP_420, UIImageOrientation::up);
  const auto mirrored = transformJpegLosslessly(odd.bytes(), *readHeader(odd.bytes()),
                                                orientationFor(UIImageOrientation::upMirrored), {});
  EXPECT_EQ(mirrored.error(), ImageError::unsupported);
}

}  // namespace
}  // namespace vecamera::device::imaging
