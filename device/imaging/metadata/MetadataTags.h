#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Exiv2 {
class ExifData;
}

namespace vecamera::device::imaging {

// The names of tags in the platform's dictionaries and in Exiv2, which parses the Exif block.

/// How a tag's value stands in the dictionaries.
enum class TagForm {
  plain,
  list,       // an array even of one number
  version,    // four digits as their numbers: "0232" is [2, 3, 2]
  degrees,    // degrees, minutes and seconds as one double
  timeOfDay,  // hours, minutes and seconds as text
  flag,       // an integer, also taken as text
};

/// Exiv2's groups of tags, one for each of the platform's dictionaries.
inline constexpr std::string_view tiffGroup = "Image";
inline constexpr std::string_view exifGroup = "Photo";
inline constexpr std::string_view gpsGroup = "GPSInfo";

/// A tag's name on one side, and the form of its value in the dictionaries.
struct TagName {
  std::string name;
  TagForm form = TagForm::plain;
};

/// From Exiv2's name to the platform's, and back.
TagName keyOfTag(std::string_view group, std::string_view name);
TagName tagOfKey(std::string_view group, std::string_view key);
/// Whether the dictionaries have the tag of that Exiv2 name.
bool isShown(std::string_view group, std::string_view name);

/// No tags where the block is damaged or over a megabyte.
Exiv2::ExifData parseExif(const std::vector<std::uint8_t>& exif);

inline constexpr std::int64_t microsPerSecond = 1'000'000;

/// The number, led by zeros.
std::string padded(std::int64_t number, std::size_t digits);

}  // namespace vecamera::device::imaging
