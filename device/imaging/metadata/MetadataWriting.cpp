#include <exiv2/exiv2.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

#include "VECamera/platform/ImageIO.h"
#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/metadata/Metadata.h"
#include "device/imaging/metadata/MetadataTags.h"
#include "device/imaging/png/PngCodec.h"

namespace vecamera::device::imaging {
namespace {

// Exiv2 reads values from text, so numbers are brought into its notation.

/// The fraction nearest to the number whose parts do not exceed the limit, by continued fractions:
/// 0.008333... becomes 1/120.
std::optional<std::string> fraction(double number, double limit) {
  const double magnitude = std::abs(number);
  if (!(magnitude <= limit)) return std::nullopt;
  double numerator = 1, denominator = 0, lastNumerator = 0, lastDenominator = 1;
  double rest = magnitude;
  for (int step = 0; step < 32; ++step) {
    const double whole = std::floor(rest);
    const double nextNumerator = whole * numerator + lastNumerator;
    const double nextDenominator = whole * denominator + lastDenominator;
    if (nextNumerator > limit || nextDenominator > limit) break;
    lastNumerator = std::exchange(numerator, nextNumerator);
    lastDenominator = std::exchange(denominator, nextDenominator);
    constexpr double tolerance = 1e-15;
    if (std::abs(numerator / denominator - magnitude) <= magnitude * tolerance) break;
    rest = 1 / (rest - whole);
  }
  return (number < 0 ? "-" : "") + std::to_string(static_cast<std::int64_t>(numerator)) + "/" +
         std::to_string(static_cast<std::int64_t>(denominator));
}

std::optional<std::string> integerText(const Value& value, std::int64_t min, std::int64_t max) {
  const auto number = value.integerValue();
  if (!number || *number < min || *number > max) return std::nullopt;
  return std::to_string(*number);
}

std::optional<std::string> numberText(const Value& value, Exiv2::TypeId type) {
  using Signed = std::numeric_limits<std::int32_t>;
  using Unsigned = std::numeric_limits<std::uint32_t>;
  switch (type) {
    case Exiv2::unsignedByte:
    case Exiv2::undefined: return integerText(value, 0, 0xFF);
    case Exiv2::unsignedShort: return integerText(value, 0, 0xFFFF);
    case Exiv2::signedShort: return integerText(value, -0x8000, 0x7FFF);
    case Exiv2::unsignedLong: return integerText(value, 0, Unsigned::max());
    case Exiv2::signedLong: return integerText(value, Signed::min(), Signed::max());
    case Exiv2::unsignedRational:
    case Exiv2::signedRational: {
      const auto number = value.numberValue();
      const bool isSigned = type == Exiv2::signedRational;
      if (!number || (*number < 0 && !isSigned)) return std::nullopt;
      return fraction(*number, isSigned ? Signed::max() : Unsigned::max());
    }
    default: return std::nullopt;
  }
}

std::optional<std::string> plainText(const Value& value, Exiv2::TypeId type) {
  if (type == Exiv2::asciiString) return value.text() ? std::optional(*value.text()) : std::nullopt;
  if (type == Exiv2::comment) {
    if (!value.text()) return std::nullopt;
    const bool ascii = std::all_of(value.text()->begin(), value.text()->end(),
                                   [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    return (ascii ? "charset=Ascii " : "charset=Unicode ") + *value.text();
  }
  if (!value.array()) return numberText(value, type);
  std::string all;
  for (const Value& one : *value.array()) {
    const auto text = numberText(one, type);
    if (!text) return std::nullopt;
    all += (all.empty() ? "" : " ") + *text;
  }
  if (all.empty()) return std::nullopt;
  return all;
}

std::optional<std::string> versionText(const Value& value) {
  if (!value.array() || value.array()->size() < 2 || value.array()->size() > 3) return std::nullopt;
  std::array<std::int64_t, 3> parts{};
  for (std::size_t i = 0; i < value.array()->size(); ++i) {
    const auto part = (*value.array())[i].integerValue();
    if (!part || *part < 0 || *part > (i == 0 ? 99 : 9)) return std::nullopt;
    parts[i] = *part;
  }
  std::string bytes;
  for (const char digit : padded(parts[0] * 100 + parts[1] * 10 + parts[2], 4))
    bytes += (bytes.empty() ? "" : " ") + std::to_string(int{digit});
  return bytes;
}

std::optional<std::string> degreesText(const Value& value) {
  const auto number = value.numberValue();
  constexpr double fullCircle = 360;
  if (!number || std::abs(*number) > fullCircle) return std::nullopt;
  const std::int64_t micros = std::llround(std::abs(*number) * 3600 * microsPerSecond);
  constexpr std::int64_t microsPerMinute = 60 * microsPerSecond;
  return std::to_string(micros / (60 * microsPerMinute)) + "/1 " +
         std::to_string(micros / microsPerMinute % 60) + "/1 " +
         std::to_string(micros % microsPerMinute) + "/" + std::to_string(microsPerSecond);
}

/// From "HH:MM:SS" with or without a fraction.
std::optional<std::string> timeText(const Value& value) {
  if (!value.text()) return std::nullopt;
  const std::string_view text = *value.text();
  const auto digits = [&](std::size_t from, std::size_t count) -> std::optional<std::int64_t> {
    std::int64_t number = 0;
    const char* end = text.data() + from + count;
    const auto read = std::from_chars(text.data() + from, end, number);
    if (read.ec != std::errc() || read.ptr != end || number < 0) return std::nullopt;
    return number;
  };
  constexpr std::size_t wholeLength = 8;
  constexpr std::size_t maxLength = wholeLength + 1 + 6;
  if (text.size() < wholeLength || text.size() > maxLength || text[2] != ':' || text[5] != ':' ||
      (text.size() > wholeLength && text[wholeLength] != '.'))
    return std::nullopt;
  const auto hours = digits(0, 2);
  const auto minutes = digits(3, 2);
  const auto seconds = digits(6, 2);
  if (!hours || !minutes || !seconds) return std::nullopt;
  std::string result = std::to_string(*hours) + "/1 " + std::to_string(*minutes) + "/1 ";
  if (text.size() <= wholeLength + 1) return result + std::to_string(*seconds) + "/1";
  const std::size_t fractionLength = text.size() - wholeLength - 1;
  const auto part = digits(wholeLength + 1, fractionLength);
  if (!part) return std::nullopt;
  std::int64_t unit = 1;
  for (std::size_t i = 0; i < fractionLength; ++i) unit *= 10;
  return result + std::to_string(*seconds * unit + *part) + "/" + std::to_string(unit);
}

std::optional<std::string> textFor(const Value& value, TagForm form, std::string_view name,
                                   Exiv2::TypeId type) {
  switch (form) {
    case TagForm::version: return versionText(value);
    case TagForm::degrees: return degreesText(value);
    case TagForm::timeOfDay: return timeText(value);
    case TagForm::flag:
      if (value.text() && (*value.text() == "0" || *value.text() == "1")) return *value.text();
      return plainText(value, type);
    default: break;
  }
  // The altitude's sign stands in its reference.
  if (name == "GPSAltitude" && value.numberValue())
    return plainText(Value(std::abs(*value.numberValue())), type);
  return plainText(value, type);
}

void setTag(Exiv2::ExifData& exif, std::string_view group, std::string_view key,
            const Value& value) {
  try {
    const TagName tag = tagOfKey(group, key);
    if (!isShown(group, tag.name)) return;
    // Throws for a name that it does not know.
    const Exiv2::ExifKey exifKey("Exif." + std::string(group) + "." + tag.name);
    const auto type = exifKey.defaultTypeId();
    const auto text = textFor(value, tag.form, tag.name, type);
    if (!text) return;
    const auto made = Exiv2::Value::create(type);
    if (made->read(*text) == 0) exif[exifKey.key()].setValue(made.get());
  } catch (...) {
  }
}

void setGroup(Exiv2::ExifData& exif, std::string_view group, const Value* entries) {
  if (!entries || !entries->dictionary()) return;
  for (const auto& [key, value] : *entries->dictionary()) setTag(exif, group, key, value);
}

void setAll(Exiv2::ExifData& exif, const Dictionary& properties) {
  setGroup(exif, tiffGroup, find(properties, kCGImagePropertyTIFFDictionary));
  setGroup(exif, exifGroup, find(properties, kCGImagePropertyExifDictionary));
  const Value* gps = find(properties, kCGImagePropertyGPSDictionary);
  const Exiv2::ExifKey gpsVersion("Exif.GPSInfo.GPSVersionID");
  if (gps && exif.findKey(gpsVersion) == exif.end())
    setTag(exif, gpsGroup, "GPSVersion", Array{2, 3, 0, 0});
  setGroup(exif, gpsGroup, gps);
  const Value* orientation = find(properties, kCGImagePropertyOrientation);
  if (orientation) setTag(exif, tiffGroup, "Orientation", *orientation);
  const Value* dpiX = find(properties, "DPIWidth");
  const Value* dpiY = find(properties, "DPIHeight");
  if (dpiX && dpiY) {
    constexpr int inches = 2;
    setTag(exif, tiffGroup, "XResolution", *dpiX);
    setTag(exif, tiffGroup, "YResolution", *dpiY);
    setTag(exif, tiffGroup, "ResolutionUnit", Value(inches));
  }
}

}  // namespace

ImageResult<Data> writeProperties(const Data& encoded, const Dictionary& properties) {
  const auto header = readHeader(encoded.bytes());
  if (!header) return header.failure();
  if (header->format != jpegFormat && header->format != pngFormat)
    return Failure(ImageError::unsupported);
  Exiv2::ExifData exif = parseExif(header->exif);
  setAll(exif, properties);
  if (exif.empty()) return encoded;
  try {
    Exiv2::Blob block;
    Exiv2::ExifParser::encode(block, Exiv2::littleEndian, exif);
    auto result = embedExif(encoded.bytes(), header->format, block);
    if (!result) return result.failure();
    return Data(std::move(*result));
  } catch (...) {
    return Failure(ImageError::unsupported);
  }
}

}  // namespace vecamera::device::imaging
