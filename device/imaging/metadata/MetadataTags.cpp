#include "device/imaging/metadata/MetadataTags.h"

#include <exiv2/exiv2.hpp>

#include <algorithm>
#include <array>

namespace vecamera::device::imaging {
namespace {

constexpr std::size_t maxExifBytes = 1u << 20;

struct Tag {
  std::string_view group;  // Exiv2's
  std::string_view key;    // the platform's
  std::string_view name;   // Exiv2's
  TagForm form = TagForm::plain;
};

/// The tags whose names differ, or whose values need a form of their own.
constexpr auto specialTags = std::to_array<Tag>({
    {exifGroup, "ExifVersion", "ExifVersion", TagForm::version},
    {exifGroup, "FlashPixVersion", "FlashpixVersion", TagForm::version},
    {exifGroup, "ISOSpeedRatings", "ISOSpeedRatings", TagForm::list},
    {exifGroup, "SubsecTime", "SubSecTime"},
    {exifGroup, "SubsecTimeOriginal", "SubSecTimeOriginal"},
    {exifGroup, "SubsecTimeDigitized", "SubSecTimeDigitized"},
    {exifGroup, "FocalLenIn35mmFilm", "FocalLengthIn35mmFilm"},
    {gpsGroup, "GPSVersion", "GPSVersionID"},
    {gpsGroup, "Latitude", "GPSLatitude", TagForm::degrees},
    {gpsGroup, "Longitude", "GPSLongitude", TagForm::degrees},
    {gpsGroup, "DestLatitude", "GPSDestLatitude", TagForm::degrees},
    {gpsGroup, "DestLongitude", "GPSDestLongitude", TagForm::degrees},
    {gpsGroup, "TimeStamp", "GPSTimeStamp", TagForm::timeOfDay},
    {gpsGroup, "AltitudeRef", "GPSAltitudeRef", TagForm::flag},
});

/// The others of this directory describe how pixels are stored, which is the encoder's business.
constexpr auto tiffNames = std::to_array<std::string_view>(
    {"DocumentName", "ImageDescription", "Make", "Model", "Orientation", "XResolution",
     "YResolution", "ResolutionUnit", "Software", "DateTime", "Artist", "HostComputer", "Copyright",
     "WhitePoint", "PrimaryChromaticities", "TransferFunction"});

/// Pointers and private blocks.
constexpr auto hiddenExifNames =
    std::to_array<std::string_view>({"MakerNote", "InteroperabilityTag"});

template <class List>
bool contains(const List& list, std::string_view name) {
  return std::find(list.begin(), list.end(), name) != list.end();
}

constexpr std::string_view gpsPrefix = "GPS";

}  // namespace

bool isShown(std::string_view group, std::string_view name) {
  if (group == tiffGroup) return contains(tiffNames, name);
  return !contains(hiddenExifNames, name) && !name.starts_with("0x");
}

TagName keyOfTag(std::string_view group, std::string_view name) {
  for (const Tag& tag : specialTags)
    if (tag.group == group && tag.name == name) return {std::string(tag.key), tag.form};
  if (group == gpsGroup && name.starts_with(gpsPrefix)) name.remove_prefix(gpsPrefix.size());
  return {std::string(name), TagForm::plain};
}

TagName tagOfKey(std::string_view group, std::string_view key) {
  for (const Tag& tag : specialTags)
    if (tag.group == group && tag.key == key) return {std::string(tag.name), tag.form};
  return {(group == gpsGroup ? std::string(gpsPrefix) : std::string()) + std::string(key),
          TagForm::plain};
}

Exiv2::ExifData parseExif(const std::vector<std::uint8_t>& exif) {
  // Exiv2 would report what it dislikes on standard error.
  [[maybe_unused]] static const bool muted = (Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute), true);
  Exiv2::ExifData result;
  if (exif.empty() || exif.size() > maxExifBytes) return result;
  try {
    Exiv2::ExifParser::decode(result, exif.data(), static_cast<std::uint32_t>(exif.size()));
  } catch (...) {
    result.clear();
  }
  return result;
}

std::string padded(std::int64_t number, std::size_t digits) {
  const std::string text = std::to_string(number);
  return std::string(digits - std::min(digits, text.size()), '0') + text;
}

}  // namespace vecamera::device::imaging
