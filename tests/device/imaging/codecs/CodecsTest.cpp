#include <libdeflate.h>

#include <cmath>
#include <limits>
#include <thread>
#include <tuple>

#include "device/imaging/codecs/HeicCodec.h"
#include "device/imaging/codecs/WebpCodec.h"
#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/platform/Graphics.h"
#include "device/imaging/platform/ImageFactory.h"
#include "device/imaging/png/PngChunks.h"
#include "device/imaging/png/PngCodec.h"
#include "tests/device/imaging/TestJpegs.h"

namespace vecamera::device::imaging {
namespace {

using Raw = std::vector<std::uint8_t>;

struct PngParts {
  const char* name;
  std::uint8_t width;
  std::uint8_t height;
  std::uint8_t depth;
  std::uint8_t colorType;
  bool interlaced;
  Raw palette;
  Raw transparency;
  /// Each row led by filter 0.
  Raw rows;
  std::string_view shown;
};

Data pngOfParts(const PngParts& parts) {
  Raw packed(1000);
  libdeflate_compressor* compressor = libdeflate_alloc_compressor(1);
  packed.resize(libdeflate_zlib_compress(compressor, parts.rows.data(), parts.rows.size(),
                                         packed.data(), packed.size()));
  libdeflate_free_compressor(compressor);
  Raw png(pngSignature.begin(), pngSignature.end());
  const std::uint8_t interlacing = parts.interlaced ? 1 : 0;
  appendPngChunk(png, "IHDR",
                 Raw{0, 0, 0, parts.width, 0, 0, 0, parts.height, parts.depth, parts.colorType, 0,
                     0, interlacing});
  if (!parts.palette.empty()) appendPngChunk(png, "PLTE", parts.palette);
  if (!parts.transparency.empty()) appendPngChunk(png, "tRNS", parts.transparency);
  appendPngChunk(png, "IDAT", packed);
  appendPngChunk(png, "IEND", {});
  return Data(std::move(png));
}

TEST(CodecsTest, TheFirstBytesShowWhetherAFileIsAPicture) {
  using namespace std::literals;
  const std::pair<std::string_view, bool> starts[] = {{"\xFF\xD8\xFF\xE0\0\x10JFIF\0\1"sv, true},
                                                      {"\x89PNG\r\n\x1A\n\0\0\0\r"sv, true},
                                                      {"\0\0\0\x18"
                                                       "ftypheic"sv,
                                                       true},
                                                      {"\0\0\0\x18"
                                                       "ftypmif1"sv,
                                                       true},
                                                      {"\0\0\0\x18"
                                                       "ftypavif"sv,
                                                       false},
                                                      {"\0\0\0\x18"
                                                       "ftypqt  "sv,
                                                       false},
                                                      {"RIFF\0\1\0\0WEBP"sv, true},
                                                      {"RIFF\0\1\0\0AVI "sv, false},
                                                      {"\x1A\x45\xDF\xA3webm...."sv, false},
                                                      {"\x89PNG"sv, false}};
  for (const auto& [start, expected] : starts) {
    ASSERT_LE(start.size(), signatureLength);
    EXPECT_EQ(isPicture(Data::copyOf(start).bytes()), expected) << start;
  }
}

TEST(CodecsTest, EveryKindOfPngIsRead) {
  const Raw redGreenBlue{255, 0, 0, 0, 255, 0, 0, 0, 255};
  const PngParts kinds[] = {
      {"palette", 3, 1, 8, 3, false, redGreenBlue, {}, {0, 2, 1, 0}, "BGR"},
      {"palette of 2 bits with transparency",
       3,
       1,
       2,
       3,
       false,
       redGreenBlue,
       {255, 0},
       {0, 0b00011000},
       "R.B"},
      {"grey of 1 bit", 3, 1, 1, 0, false, {}, {}, {0, 0b10100000}, "WKW"},
      {"grey with a transparent shade", 2, 1, 8, 0, false, {}, {0, 255}, {0, 0, 255}, "K."},
      {"grey of 16 bits with alpha",
       2,
       1,
       16,
       4,
       false,
       {},
       {},
       {0, 255, 255, 255, 255, 128, 0, 0, 0},
       "W."},
      {"RGB of 16 bits",
       2,
       1,
       16,
       2,
       false,
       {},
       {},
       {0, 255, 255, 0, 0, 0, 0, 0, 0, 255, 255, 255, 255},
       "RC"},
      {"RGBA", 2, 1, 8, 6, false, {}, {}, {0, 255, 0, 255, 255, 9, 9, 9, 0}, "M."},
      // The passes that a picture of 3 x 2 has: 1, 4, 6 and 7.
      {"interlaced", 3, 2, 8, 3, true, redGreenBlue, {}, {0, 0, 0, 2, 0, 1, 0, 2, 1, 0}, "RGB/BGR"},
  };
  for (const PngParts& kind : kinds)
    EXPECT_EQ(lettersOf(opened(pngOfParts(kind))), kind.shown) << kind.name;
}

enum class Progression { none, usual, perCoefficient };

struct JpegKind {
  const char* name;
  J_COLOR_SPACE given;
  J_COLOR_SPACE stored;
  int components;
  Progression progression = Progression::none;
  int sampling = 1;
};

/// A valid progressive picture that refines each coefficient of the luma on its own.
std::vector<jpeg_scan_info> scansPerCoefficient(int refinements) {
  std::vector<jpeg_scan_info> scans{{1, {0, 0, 0, 0}, 0, 0, 0, 0}};
  for (int low = refinements; low >= 0; --low)
    for (int k = 1; k < 64; ++k)
      scans.push_back({1, {0, 0, 0, 0}, k, k, low == refinements ? 0 : low + 1, low});
  return scans;
}

Data jpegOfKind(const JpegKind& kind, int refinements = 1) {
  constexpr std::size_t side = 32;
  // Left half red, right half white. Inks are inverted, as Adobe stores them.
  Raw row;
  for (std::size_t x = 0; x < side; ++x) {
    const auto other = static_cast<std::uint8_t>(x >= side / 2 ? 255 : 0);
    if (kind.components == 1) row.push_back(other);
    if (kind.components >= 3) row.insert(row.end(), {255, other, other});
    if (kind.components == 4) row.push_back(255);
  }
  const auto scans = scansPerCoefficient(refinements);
  const auto configure = [&](jpeg_compress_struct& info) {
    jpeg_set_colorspace(&info, kind.stored);
    jpeg_set_quality(&info, 100, TRUE);
    info.comp_info[0].h_samp_factor = info.comp_info[0].v_samp_factor = kind.sampling;
    if (kind.progression == Progression::usual) jpeg_simple_progression(&info);
    if (kind.progression == Progression::perCoefficient) {
      info.scan_info = scans.data();
      info.num_scans = static_cast<int>(scans.size());
    }
  };
  return jpegOfRows(side, side / 2, kind.components, kind.given, configure,
                    [&](std::size_t) { return row.data(); });
}

TEST(CodecsTest, EveryKindOfJpegIsRead) {
  constexpr JpegKind kinds[] = {
      {"grey", JCS_GRAYSCALE, JCS_GRAYSCALE, 1},
      {"RGB", JCS_RGB, JCS_RGB, 3},
      {"YCbCr 4:2:0", JCS_RGB, JCS_YCbCr, 3, Progression::none, 2},
      {"progressive", JCS_RGB, JCS_YCbCr, 3, Progression::usual, 2},
      {"CMYK", JCS_CMYK, JCS_CMYK, 4},
      {"YCCK", JCS_CMYK, JCS_YCCK, 4},
      {"progressive YCCK", JCS_CMYK, JCS_YCCK, 4, Progression::usual},
  };
  for (const JpegKind& kind : kinds) {
    const auto image = opened(jpegOfKind(kind));
    ASSERT_TRUE(image) << kind.name;
    EXPECT_EQ(lettersOf(image, 16), kind.components == 1 ? "KW" : "RW") << kind.name;
  }
}

TEST(CodecsTest, AJpegOfTooManyScansIsNotDecoded) {
  const JpegKind kind{"", JCS_GRAYSCALE, JCS_GRAYSCALE, 1, Progression::perCoefficient};
  EXPECT_EQ(lettersOf(opened(jpegOfKind(kind, 0)), 16), "KW");
  EXPECT_EQ(lettersOf(opened(jpegOfKind(kind, 1)), 16), "no pixels");
}

TEST(CodecsTest, HeicComesOutUprightAndWebpWithItsAlpha) {
  EXPECT_EQ(lettersOf(opened(fixture("rotated.heic")), 32), "CR/MG/YB");
  EXPECT_EQ(lettersOf(opened(webpOf(bitmapOfLetters("RG./CMY")))), "RG./CMY");
}

TEST(CodecsTest, UnknownBytesAreNoPicture) {
  for (const std::string_view bytes :
       {"", "GIF89a", "not a picture at all", "\xFF\xD8\xFF", "\x89PNG\r\n\x1A\n", "RIFF1234WEBP",
        "\1\2\3\4ftypheic", "\1\2\3\4ftypqt  "}) {
    EXPECT_FALSE(opened(Data::copyOf(bytes))) << bytes;
    EXPECT_FALSE(readHeader(Data::copyOf(bytes).bytes())) << bytes;
  }
}

TEST(CodecsTest, HeadersGiveFormatSidesAndOrientation) {
  struct Case {
    Data data;
    PictureFormat format;
    std::string_view extension;
    std::uint32_t width = 3;
    std::uint32_t height = 2;
    UIImageOrientation orientation = UIImageOrientation::up;
  };
  const Bitmap picture = bitmapOfLetters("RGB/CMY");
  const auto leftMirrored = UIImageOrientation::leftMirrored;
  const Case cases[] = {
      {jpegOf(picture, leftMirrored), jpegFormat, "jpg", 3, 2, leftMirrored},
      {pngOf(picture, leftMirrored), pngFormat, "png", 3, 2, leftMirrored},
      {webpOf(picture), webpFormat, "webp"},
      {fixture("rotated.heic"), heicFormat, "heic", 64, 96},
  };
  for (const auto& [data, format, extension, width, height, orientation] : cases) {
    SCOPED_TRACE(extension);
    const auto header = readHeader(data.bytes());
    ASSERT_TRUE(header);
    EXPECT_EQ(header->format, format);
    EXPECT_EQ(header->format.fileExtension, extension);
    EXPECT_EQ(header->width, width);
    EXPECT_EQ(header->height, height);
    EXPECT_EQ(header->orientation, orientation);
  }
  EXPECT_EQ(formatNames(), "JPEG, PNG, HEIC, WebP");
  EXPECT_EQ(formatNames(" or "), "JPEG, PNG, HEIC or WebP");
}

TEST(CodecsTest, DistinguishUnknownFormatsFromCorruptBytes) {
  const Data whole = pngOf(bitmapOfLetters("RGB/CMY"));
  Raw flipped(whole.bytes().begin(), whole.bytes().end());
  flipped[whole.size() / 2] ^= 1;
  const auto header = *readHeader(whole.bytes());
  EXPECT_EQ(readHeader({}).error(), ImageError::unsupported);
  EXPECT_EQ(readHeader(whole.bytes().first(12)).error(), ImageError::corrupt);
  EXPECT_EQ(decode(flipped, header, {}, {}, {}).error(), ImageError::corrupt);
  const Data webp = webpOf(bitmapOfLetters("RGB"));
  EXPECT_EQ(openRows(webp.bytes(), *readHeader(webp.bytes()), {}, {}).error(),
            ImageError::unsupported);
}

TEST(CodecsTest, TheLimitCountsPixels) {
  const Data png = pngOf(bitmapOfLetters("RGB/CMY"));
  EXPECT_TRUE(ImageFactory(PictureLimits{6}).imageWithData(png));
  EXPECT_FALSE(ImageFactory(PictureLimits{5}).imageWithData(png));
}

TEST(CodecsTest, JpegQualityIsClampedAndRules) {
  ImageFactory images;
  const auto image = images.imageWithData(pngOf(bitmapOfLetters("RGB/CMY/WKR", 11)));
  const auto sizeAt = [&](double quality) {
    return images.UIImageJPEGRepresentation(image, quality).value();
  };
  EXPECT_EQ(sizeAt(-3), sizeAt(0));
  EXPECT_EQ(sizeAt(std::nan("")), sizeAt(0));
  EXPECT_EQ(sizeAt(2.5), sizeAt(1));
  EXPECT_EQ(sizeAt(std::numeric_limits<double>::infinity()), sizeAt(1));
  EXPECT_LT(sizeAt(0).size(), sizeAt(0.5).size());
  EXPECT_LT(sizeAt(0.5).size(), sizeAt(1).size());
}

TEST(CodecsTest, JpegsStateTheirOrientationAndPngsDoNot) {
  ImageFactory images;
  for (const auto orientation : allOrientations) {
    const auto image = images.imageWithData(pngOf(bitmapOfLetters("RGB/CMY", 8), orientation));
    const auto jpeg = images.imageWithData(*images.UIImageJPEGRepresentation(image, 1));
    EXPECT_EQ(jpeg->imageOrientation(), orientation);
    EXPECT_EQ(lettersOf(jpeg, 8), "RGB/CMY");
    const auto png = images.imageWithData(*images.UIImagePNGRepresentation(image));
    EXPECT_EQ(png->imageOrientation(), UIImageOrientation::up);
    EXPECT_EQ(lettersOf(png, 8), "RGB/CMY");
  }
}

TEST(CodecsTest, JpegsPutAlphaOnWhite) {
  ImageFactory images;
  const auto image = images.imageWithData(pngOf(bitmapOf(16, 16, [](std::size_t, std::size_t) {
    return Rgba{0, 0, 0, 64};
  })));
  const auto jpeg = images.imageWithData(*images.UIImageJPEGRepresentation(image, 1));
  EXPECT_NEAR(pixelAt(pixelsOfImage(jpeg), 8, 8).red, 191, 2);
}

TEST(CodecsTest, PngsHoldEveryPixelAndAnAlphaOnlyWhereThereIsOne) {
  constexpr std::size_t colorTypeOffset = 25;
  ImageFactory images;
  const Bitmap opaque = bitmapOf(61, 47, [](std::size_t x, std::size_t y) {
    return Rgba{static_cast<int>(x * 4), static_cast<int>(y * 5), static_cast<int>(x ^ y)};
  });
  const Data rgb = *images.UIImagePNGRepresentation(images.imageWithData(pngOf(opaque)));
  EXPECT_EQ(rgb.bytes()[colorTypeOffset], 2);
  EXPECT_EQ(largestDifference(pixelsOfImage(opened(rgb)), opaque), 0);

  const Bitmap clear = bitmapOf(64, 64, [](std::size_t x, std::size_t y) {
    const int alpha = static_cast<int>(x * 4);
    return Rgba{alpha * static_cast<int>(y) / 64, alpha / 2, alpha, alpha};
  });
  const Data rgba = *images.UIImagePNGRepresentation(images.imageWithData(pngOf(clear)));
  EXPECT_EQ(rgba.bytes()[colorTypeOffset], 6);
  EXPECT_LE(largestDifference(pixelsOfImage(opened(rgba)), clear), 1);
}

TEST(CodecsTest, TheColourProfileGoesAlong) {
  Raw bytes(200);
  const std::string_view space = "RGB ";
  std::copy(space.begin(), space.end(), bytes.begin() + 16);
  Bitmap bitmap = bitmapOfLetters("RGB/CMY", 8);
  bitmap.setProfile(std::make_shared<const Raw>(bytes));
  ImageFactory images;
  Graphics graphics;
  for (const auto& source : {*encodeJpegBitmap(bitmap, 90, {}), *encodePngBitmap(bitmap)}) {
    const auto stored = images.imageWithData(Data(source));
    const auto context = graphics.beginImageContext({10, 10});
    context->drawInRect(stored, {0, 0, 10, 10});
    for (const auto& image : {stored, context->imageFromCurrentImageContext()}) {
      for (const double quality : {0.5, 1.0}) {
        const auto jpeg = images.UIImageJPEGRepresentation(image, quality);
        EXPECT_EQ(readHeader(jpeg->bytes())->profile, bytes);
      }
      const auto png = images.UIImagePNGRepresentation(image);
      EXPECT_EQ(readHeader(png->bytes())->profile, bytes);
    }
  }
}

TEST(CodecsTest, NothingIsEncodedOfNothing) {
  ImageFactory images;
  EXPECT_FALSE(images.UIImageJPEGRepresentation(nullptr, 1));
  EXPECT_FALSE(images.UIImagePNGRepresentation(nullptr));
}

TEST(CodecsTest, AJpegCannotBeWiderThanTheFormatAllows) {
  Graphics graphics;
  const auto image = graphics.beginImageContext({65501, 1})->imageFromCurrentImageContext();
  EXPECT_FALSE(ImageFactory().UIImageJPEGRepresentation(image, 1));
  EXPECT_TRUE(ImageFactory().UIImagePNGRepresentation(image));
}

TEST(CodecsTest, OnePictureServesSeveralThreadsAtOnce) {
  const Data jpeg = jpegOf(bitmapOfLetters("RGB/CMY", 40), UIImageOrientation::left);
  const std::shared_ptr<UIImage> images[] = {opened(jpeg), opened(fixture("rotated.heic"))};
  Graphics graphics;
  std::vector<std::shared_ptr<UIImage>> scaled;
  for (const auto& image : images) {
    const auto context = graphics.beginImageContext({33, 44});
    context->drawInRect(image, {0, 0, 33, 44});
    scaled.push_back(context->imageFromCurrentImageContext());
  }
  std::vector<std::thread> threads;
  std::vector<std::vector<Data>> results(4);
  for (auto& result : results)
    threads.emplace_back([&scaled, &result] {
      for (const auto& image : scaled)
        result.push_back(ImageFactory().UIImagePNGRepresentation(image).value_or(Data()));
    });
  for (auto& thread : threads) thread.join();
  for (const auto& result : results) {
    EXPECT_EQ(result, results[0]);
    for (const Data& png : result) EXPECT_FALSE(png.empty());
  }
}

}  // namespace
}  // namespace vecamera::device::imaging
