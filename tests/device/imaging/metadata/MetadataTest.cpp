#include "device/imaging/metadata/Metadata.h"

#include "device/imaging/codecs/Codecs.h"
#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device::imaging {
namespace {

Data plainJpeg() {
  return jpegOf(bitmapOfLetters("RGB/CMY", 8));
}
Data plainPng() {
  return pngOf(bitmapOfLetters("RGB/CMY", 8));
}

Dictionary part(const Data& picture, std::string_view key) {
  const auto properties = readProperties(picture);
  const Value* value = properties ? find(*properties, key) : nullptr;
  return value && value->dictionary() ? *value->dictionary() : Dictionary();
}

/// What is read where only that dictionary was written.
Dictionary through(std::string_view key, const Dictionary& written) {
  const auto picture = writeProperties(plainJpeg(), {{std::string(key), written}});
  return picture ? part(*picture, key) : Dictionary{{"the writing", "failed"}};
}

TEST(MetadataTest, WhatIsWrittenIsReadAgainInTheSameKinds) {
  const Dictionary exif{{"ApertureValue", 1.696},
                        {"BodySerialNumber", "0042"},
                        {"BrightnessValue", -2.25},
                        {"ComponentsConfiguration", Array{1, 2, 3, 0}},
                        {"CompositeImage", 2},
                        {"DateTimeOriginal", "2024:05:01 14:03:20"},
                        {"ExifVersion", Array{2, 3, 2}},
                        {"ExposureTime", 1.0 / 120},
                        {"FNumber", 1.8},
                        {"FlashPixVersion", Array{1, 0}},
                        {"FocalLenIn35mmFilm", 26},
                        {"ISOSpeedRatings", Array{64}},
                        {"LensModel", "Software lens"},
                        {"LensSpecification", Array{1.54, 9.0, 1.5, 2.8}},
                        {"OffsetTimeOriginal", "+02:00"},
                        {"PixelXDimension", 4032},
                        {"SceneType", 1},
                        {"SubjectArea", Array{2013, 1511, 2217, 1330}},
                        {"SubsecTimeOriginal", "123"},
                        {"UserComment", "Gr\xC3\xBC\xC3\x9F dich"}};
  const Dictionary tiff{{"Artist", "Somebody"}, {"DateTime", "2024:05:01 14:03:20"},
                        {"Make", "VECamera"},   {"Model", "Software camera"},
                        {"ResolutionUnit", 2},  {"Software", "1.0"},
                        {"XResolution", 300.0}, {"YResolution", 300.5}};
  const Dictionary gps{{"Altitude", 12.5},
                       {"AltitudeRef", 1},
                       {"DOP", 3.5},
                       {"DateStamp", "2024:05:01"},
                       {"GPSVersion", Array{2, 3, 0, 0}},
                       {"HPositioningError", 4.75},
                       {"ImgDirection", 271.25},
                       {"ImgDirectionRef", "T"},
                       {"Latitude", 33.5},
                       {"LatitudeRef", "S"},
                       {"Longitude", 151.25},
                       {"LongitudeRef", "E"},
                       {"Speed", 0.0},
                       {"TimeStamp", "23:59:59"}};
  for (const Data& plain : {plainJpeg(), plainPng()}) {
    const auto written =
        writeProperties(plain, {{"{Exif}", exif}, {"{TIFF}", tiff}, {"{GPS}", gps}});
    ASSERT_TRUE(written);
    EXPECT_EQ(part(*written, "{Exif}"), exif);
    EXPECT_EQ(part(*written, "{TIFF}"), tiff);
    EXPECT_EQ(part(*written, "{GPS}"), gps);
    EXPECT_EQ(lettersOf(opened(*written), 8), "RGB/CMY");
  }
}

TEST(MetadataTest, AFixAsTheModuleGivesItIsStoredWithoutSigns) {
  const Dictionary read = through("{GPS}", {{"LatitudeRef", "S"},
                                            {"Latitude", -33.865143},
                                            {"LongitudeRef", "W"},
                                            {"Longitude", -151.2099},
                                            {"AltitudeRef", "1"},
                                            {"Altitude", -5.25},
                                            {"TimeStamp", "07:08:09.123456"},
                                            {"DateStamp", "2024:03:01"}});
  ASSERT_TRUE(find(read, "Latitude") && find(read, "Longitude"));
  EXPECT_NEAR(*find(read, "Latitude")->real(), 33.865143, 1e-9);
  EXPECT_NEAR(*find(read, "Longitude")->real(), 151.2099, 1e-9);
  EXPECT_EQ(read.at("LatitudeRef"), Value("S"));
  EXPECT_EQ(read.at("LongitudeRef"), Value("W"));
  EXPECT_EQ(read.at("AltitudeRef"), Value(1));
  EXPECT_EQ(read.at("Altitude"), Value(5.25));
  EXPECT_EQ(read.at("TimeStamp"), Value("07:08:09.123456"));
  EXPECT_EQ(read.at("DateStamp"), Value("2024:03:01"));
}

TEST(MetadataTest, UnknownKeysAndWrongKindsAreLeftOut) {
  const Dictionary nothing;
  EXPECT_EQ(through("{Exif}", {{"NoSuchTag", 5},
                               {"FNumber", "bright"},
                               {"FocalLength", -3.0},
                               {"ColorSpace", 70000},
                               {"DateTimeOriginal", 7},
                               {"ISOSpeedRatings", Array{"a"}},
                               {"ExifVersion", Array{2}},
                               {"MakerNote", Array{1, 2}},
                               {"0x9999", 1}}),
            nothing);
  EXPECT_EQ(through("{TIFF}", {{"ImageWidth", 9}, {"StripOffsets", 9}}), nothing);
  const Dictionary version{{"GPSVersion", Array{2, 3, 0, 0}}};
  EXPECT_EQ(through("{GPS}", {{"Latitude", "far north"},
                              {"Longitude", 1e9},
                              {"TimeStamp", "7 o'clock"},
                              {"AltitudeRef", "below"}}),
            version);
  EXPECT_EQ(through("{GPS}", {{"TimeStamp", "12:34:5x"}}), version);
}

TEST(MetadataTest, WritingAddsToWhatIsThere) {
  const Data first =
      *writeProperties(plainJpeg(), {{"{TIFF}", Dictionary{{"Make", "One"}, {"Model", "Two"}}}});
  const Data second =
      *writeProperties(first, {{"{TIFF}", Dictionary{{"Model", "Three"}}}, {"Orientation", 6}});
  const Dictionary expected{{"Make", "One"}, {"Model", "Three"}, {"Orientation", 6}};
  EXPECT_EQ(part(second, "{TIFF}"), expected);
  EXPECT_EQ(readHeader(second.bytes())->orientation, UIImageOrientation::right);
  EXPECT_EQ(*writeProperties(second, {}), *writeProperties(second, {{"Depth", 8}}));
}

TEST(MetadataTest, TheTopLevelDescribesThePicture) {
  const Data written = *writeProperties(
      plainJpeg(), {{"Orientation", 8}, {"DPIWidth", 300.0}, {"DPIHeight", 150.0}});
  const Dictionary expected{{"ColorModel", "RGB"},
                            {"DPIHeight", 150.0},
                            {"DPIWidth", 300.0},
                            {"Depth", 8},
                            {"Orientation", 8},
                            {"PixelHeight", 16},
                            {"PixelWidth", 24},
                            {"{TIFF}", Dictionary{{"Orientation", 8},
                                                  {"ResolutionUnit", 2},
                                                  {"XResolution", 300.0},
                                                  {"YResolution", 150.0}}}};
  EXPECT_EQ(*readProperties(written), expected);
  EXPECT_FALSE(readProperties(Data::copyOf("no picture")));
}

TEST(MetadataTest, HeicMetadataIsReadWithTheOrientationOfThePixels) {
  const Data heic = fixture("rotated.heic");
  const Dictionary properties = *readProperties(heic);
  EXPECT_EQ(properties.at("PixelWidth"), Value(64));
  EXPECT_EQ(properties.at("PixelHeight"), Value(96));
  EXPECT_EQ(properties.at("Orientation"), Value(1));
  EXPECT_EQ(part(heic, "{Exif}").at("DateTimeOriginal"), Value("2024:05:01 14:03:20"));
  EXPECT_EQ(writeProperties(heic, {}).error(), ImageError::unsupported);
}

TEST(MetadataTest, TextOfUnknownEncodingComesOutAsUtf8) {
  const Data written = *writeProperties(
      plainJpeg(),
      {{"{TIFF}", Dictionary{{"Artist", "Jos\xE9"}, {"Model", "\xC3\xA9\xED\xA0\x80"}}}});
  const Dictionary expected{{"Artist", "Jos\xC3\xA9"},
                            {"Model", "\xC3\x83\xC2\xA9\xC3\xAD\xC2\xA0\xC2\x80"}};
  EXPECT_EQ(part(written, "{TIFF}"), expected);
}

TEST(MetadataTest, WhatDoesNotFitIntoAJpegIsRefused) {
  const std::string text(19000, 'x');
  const Dictionary huge{
      {"{TIFF}",
       Dictionary{{"Artist", text}, {"Copyright", text}, {"Model", text}, {"Software", text}}}};
  EXPECT_EQ(writeProperties(plainJpeg(), huge).error(), ImageError::unsupported);
  EXPECT_TRUE(writeProperties(plainPng(), huge));
}

}  // namespace
}  // namespace vecamera::device::imaging
