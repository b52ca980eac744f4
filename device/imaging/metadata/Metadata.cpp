#include "device/imaging/metadata/Metadata.h"

#include <exiv2/exiv2.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "VECamera/platform/ImageIO.h"
#include "device/base/Utf8.h"
#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/metadata/ExifBlock.h"

namespace vecamera::device::imaging {
namespace {

constexpr std::size_t maxExifBytes = 1u << 20;
/// Longer ones are pictures and tables inside of the metadata, which the dictionaries leave out.
constexpr long maxNumbers = 64;

/// How a tag's value stands in the dictionaries.
enum class Form {
  plain,
  list,       // an array even of one number
  version,    // four digits as their numbers: "0232" is [2, 3, 2]
  degrees,    // degrees, minutes and seconds as one double
  timeOfDay,  // hours, minutes and seconds as text
  flag,       // an integer, also taken as text
};

struct Tag {
  std::string_view group;  // Exiv2's
  std::string_view key;    // the platform's
  std::string_view name;   // Exiv2's
  Form form = Form::plain;
};

constexpr std::string_view tiffGroup = "Image";
constexpr std::string_view exifGroup = "Photo";
constexpr std::string_view gpsGroup = "GPSInfo";

/// The tags whose names differ, or whose values need a form of their own.
constexpr auto specialTags = std::to_array<Tag>({
    {exifGroup, "ExifVersion", "ExifVersion", Form::version},
    {exifGroup, "FlashPixVersion", "FlashpixVersion", Form::version},
    {exifGroup, "ISOSpeedRatings", "ISOSpeedRatings", Form::list},
    {exifGroup, "SubsecTime", "SubSecTime"},
    {exifGroup, "SubsecTimeOriginal", "SubSecTimeOriginal"},
    {exifGroup, "SubsecTimeDigitized", "SubSecTimeDigitized"},
    {exifGroup, "FocalLenIn35mmFilm", "FocalLengthIn35mmFilm"},
    {gpsGroup, "GPSVersion", "GPSVersionID"},
    {gpsGroup, "Latitude", "GPSLatitude", Form::degrees},
    {gpsGroup, "Longitude", "GPSLongitude", Form::degrees},
    {gpsGroup, "DestLatitude", "GPSDestLatitude", Form::degrees},
    {gpsGroup, "DestLongitude", "GPSDestLongitude", Form::degrees},
    {gpsGroup, "TimeStamp", "GPSTimeStamp", Form::timeOfDay},
    {gpsGroup, "AltitudeRef", "GPSAltitudeRef", Form::flag},
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

bool isShown(std::string_view group, std::string_view name) {
  if (group == tiffGroup) return contains(tiffNames, name);
  return !contains(hiddenExifNames, name) && !name.starts_with("0x");
}

constexpr std::string_view gpsPrefix = "GPS";

struct Naming {
  std::string name;
  Form form = Form::plain;
};

Naming keyOfTag(std::string_view group, std::string_view name) {
  for (const Tag& tag : specialTags)
    if (tag.group == group && tag.name == name) return {std::string(tag.key), tag.form};
  if (group == gpsGroup && name.starts_with(gpsPrefix)) name.remove_prefix(gpsPrefix.size());
  return {std::string(name), Form::plain};
}

Naming tagOfKey(std::string_view group, std::string_view key) {
  for (const Tag& tag : specialTags)
    if (tag.group == group && tag.key == key) return {std::string(tag.name), tag.form};
  return {(group == gpsGroup ? std::string(gpsPrefix) : std::string()) + std::string(key),
          Form::plain};
}

/// Exiv2 reports what it dislikes on standard error, once told otherwise never again.
void muteLibrary() {
  static const bool muted = [] {
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    return true;
  }();
  static_cast<void>(muted);
}

Exiv2::ExifData parsed(const std::vector<std::uint8_t>& exif) {
  muteLibrary();
  Exiv2::ExifData result;
  if (exif.empty() || exif.size() > maxExifBytes) return result;
  try {
    Exiv2::ExifParser::decode(result, exif.data(), static_cast<std::uint32_t>(exif.size()));
  } catch (...) {
    result.clear();
  }
  return result;
}

// Reading.

/// Text up to its end mark. Cameras write what they like; what is no UTF-8 is taken as Latin-1.
std::string cleanText(std::string text) {
  text.resize(std::min(text.size(), text.find('\0')));
  if (isUtf8(text)) return text;
  std::string converted;
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    if (code < 0x80) {
      converted += c;
    } else {
      converted += static_cast<char>(0xC0 | code >> 6);
      converted += static_cast<char>(0x80 | (code & 0x3F));
    }
  }
  return converted;
}

std::optional<double> quotient(const Exiv2::Value& value, long index) {
  if (value.typeId() == Exiv2::unsignedRational) {
    // The value's own accessor reads both numbers as signed.
    const auto* rationals = dynamic_cast<const Exiv2::URationalValue*>(&value);
    if (!rationals || index >= rationals->count()) return std::nullopt;
    const auto& [above, below] = rationals->value_[static_cast<std::size_t>(index)];
    if (below == 0) return std::nullopt;
    return static_cast<double>(above) / static_cast<double>(below);
  }
  const auto [above, below] = value.toRational(index);
  if (below == 0) return std::nullopt;
  return static_cast<double>(above) / static_cast<double>(below);
}

std::optional<Value> number(const Exiv2::Value& value, long index) {
  switch (value.typeId()) {
    case Exiv2::unsignedRational:
    case Exiv2::signedRational: {
      const auto real = quotient(value, index);
      if (!real) return std::nullopt;
      return Value(*real);
    }
    case Exiv2::tiffFloat:
    case Exiv2::tiffDouble: {
      const double real = value.toFloat(index);
      if (!std::isfinite(real)) return std::nullopt;
      return Value(real);
    }
    case Exiv2::unsignedByte:
    case Exiv2::signedByte:
    case Exiv2::undefined:
    case Exiv2::unsignedShort:
    case Exiv2::signedShort:
    case Exiv2::unsignedLong:
    case Exiv2::signedLong: return Value(std::int64_t{value.toLong(index)});
    default: return std::nullopt;
  }
}

std::optional<Value> plainValue(const Exiv2::Value& value, Form form) {
  if (value.typeId() == Exiv2::asciiString) return Value(cleanText(value.toString()));
  if (const auto* comment = dynamic_cast<const Exiv2::CommentValue*>(&value))
    return Value(cleanText(comment->comment()));
  const long count = value.count();
  if (count < 1 || count > maxNumbers) return std::nullopt;
  if (count == 1 && form != Form::list) return number(value, 0);
  Array numbers;
  for (long i = 0; i < count; ++i) {
    const auto one = number(value, i);
    if (!one) return std::nullopt;
    numbers.push_back(*one);
  }
  return Value(std::move(numbers));
}

std::optional<Value> versionValue(const Exiv2::Value& value) {
  if (value.count() != 4) return std::nullopt;
  std::array<std::int64_t, 4> digits{};
  for (std::size_t i = 0; i < digits.size(); ++i) {
    digits[i] = value.toLong(static_cast<long>(i)) - '0';
    if (digits[i] < 0 || digits[i] > 9) return std::nullopt;
  }
  Array parts{digits[0] * 10 + digits[1], digits[2]};
  if (digits[3] != 0) parts.emplace_back(digits[3]);
  return Value(std::move(parts));
}

std::optional<std::array<double, 3>> threeRationals(const Exiv2::Value& value) {
  if (value.typeId() != Exiv2::unsignedRational || value.count() != 3) return std::nullopt;
  std::array<double, 3> parts{};
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const auto part = quotient(value, static_cast<long>(i));
    if (!part) return std::nullopt;
    parts[i] = *part;
  }
  return parts;
}

std::optional<Value> degreesValue(const Exiv2::Value& value) {
  const auto parts = threeRationals(value);
  if (!parts) return std::nullopt;
  return Value((*parts)[0] + (*parts)[1] / 60 + (*parts)[2] / 3600);
}

constexpr std::int64_t microsPerSecond = 1'000'000;

std::string padded(std::int64_t number, std::size_t digits) {
  const std::string text = std::to_string(number);
  return std::string(digits - std::min(digits, text.size()), '0') + text;
}

std::optional<Value> timeValue(const Exiv2::Value& value) {
  const auto parts = threeRationals(value);
  if (!parts || (*parts)[0] >= 24 || (*parts)[1] >= 60 || (*parts)[2] >= 61) return std::nullopt;
  const std::int64_t micros = std::llround((*parts)[2] * microsPerSecond);
  std::string text = padded(static_cast<std::int64_t>((*parts)[0]), 2) + ":" +
                     padded(static_cast<std::int64_t>((*parts)[1]), 2) + ":" +
                     padded(micros / microsPerSecond, 2);
  if (micros % microsPerSecond != 0) {
    text += "." + padded(micros % microsPerSecond, 6);
    text.resize(text.find_last_not_of('0') + 1);
  }
  return Value(std::move(text));
}

std::optional<Value> valueOf(const Exiv2::Value& value, Form form) {
  switch (form) {
    case Form::version: return versionValue(value);
    case Form::degrees: return degreesValue(value);
    case Form::timeOfDay: return timeValue(value);
    default: return plainValue(value, form);
  }
}

Dictionary groupOf(const Exiv2::ExifData& exif, std::string_view group) {
  Dictionary result;
  for (const Exiv2::Exifdatum& datum : exif) {
    if (datum.groupName() != group) continue;
    // One tag that the library cannot make sense of does not spoil the others.
    try {
      const std::string name = datum.tagName();
      if (!isShown(group, name)) continue;
      const Naming naming = keyOfTag(group, name);
      if (auto value = valueOf(datum.value(), naming.form))
        result.insert_or_assign(naming.name, std::move(*value));
    } catch (...) {
    }
  }
  return result;
}

void addResolution(Dictionary& properties, const Dictionary& tiff, const PictureHeader& header) {
  constexpr double centimetresPerInch = 2.54;
  const Value* x = find(tiff, "XResolution");
  const Value* y = find(tiff, "YResolution");
  const Value* unit = find(tiff, "ResolutionUnit");
  if (x && y && x->real() && y->real()) {
    const double factor = unit && unit->integerValue() == 3 ? centimetresPerInch : 1;
    properties["DPIWidth"] = *x->real() * factor;
    properties["DPIHeight"] = *y->real() * factor;
  } else if (header.dpiX > 0 && header.dpiY > 0) {
    properties["DPIWidth"] = header.dpiX;
    properties["DPIHeight"] = header.dpiY;
  }
}

const char* colorModelName(ColorModel model) {
  switch (model) {
    case ColorModel::gray: return "Gray";
    case ColorModel::cmyk: return "CMYK";
    default: return "RGB";
  }
}

// Writing. Exiv2 reads values from text, so numbers are brought into its notation.

/// The fraction nearest to the number whose parts do not exceed the limit, by continued fractions:
/// 0.008333... comes out as 1/120.
std::optional<std::string> fraction(double number, double limit) {
  const double magnitude = std::abs(number);
  if (!(magnitude <= limit)) return std::nullopt;
  double above = 1, below = 0, lastAbove = 0, lastBelow = 1;
  double rest = magnitude;
  for (int step = 0; step < 32; ++step) {
    const double whole = std::floor(rest);
    const double nextAbove = whole * above + lastAbove;
    const double nextBelow = whole * below + lastBelow;
    if (nextAbove > limit || nextBelow > limit) break;
    lastAbove = std::exchange(above, nextAbove);
    lastBelow = std::exchange(below, nextBelow);
    constexpr double nextToNothing = 1e-15;
    if (std::abs(above / below - magnitude) <= magnitude * nextToNothing) break;
    rest = 1 / (rest - whole);
  }
  return (number < 0 ? "-" : "") + std::to_string(static_cast<std::int64_t>(above)) + "/" +
         std::to_string(static_cast<std::int64_t>(below));
}

std::optional<std::string> integerText(const Value& value, std::int64_t least, std::int64_t most) {
  const auto number = value.integerValue();
  if (!number || *number < least || *number > most) return std::nullopt;
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

std::optional<std::string> textFor(const Value& value, Form form, std::string_view name,
                                   Exiv2::TypeId type) {
  switch (form) {
    case Form::version: return versionText(value);
    case Form::degrees: return degreesText(value);
    case Form::timeOfDay: return timeText(value);
    case Form::flag:
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
    const Naming naming = tagOfKey(group, key);
    if (!isShown(group, naming.name)) return;
    // Throws for a name that it does not know.
    const Exiv2::ExifKey exifKey("Exif." + std::string(group) + "." + naming.name);
    const auto type = exifKey.defaultTypeId();
    const auto text = textFor(value, naming.form, naming.name, type);
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

std::optional<Dictionary> readProperties(const Data& data) {
  const auto header = readHeader(data.bytes());
  if (!header) return std::nullopt;
  const Exiv2::ExifData exif = parsed(header->exif);
  Dictionary properties;
  Dictionary tiff = groupOf(exif, tiffGroup);
  Dictionary photo = groupOf(exif, exifGroup);
  Dictionary gps = groupOf(exif, gpsGroup);
  properties[std::string(kCGImagePropertyPixelWidth)] = std::int64_t{header->width};
  properties[std::string(kCGImagePropertyPixelHeight)] = std::int64_t{header->height};
  properties["ColorModel"] = colorModelName(header->colorModel);
  properties["Depth"] = header->bitsPerChannel;
  addResolution(properties, tiff, *header);
  const std::string orientationKey(kCGImagePropertyOrientation);
  if (find(tiff, orientationKey)) {
    // As the picture is opened, which need not be what the tag says (see HeifCodec.h).
    const Value orientation(exifOrientation(header->orientation));
    tiff.insert_or_assign(orientationKey, orientation);
    properties[orientationKey] = orientation;
  }
  if (!tiff.empty()) properties[std::string(kCGImagePropertyTIFFDictionary)] = std::move(tiff);
  if (!photo.empty()) properties[std::string(kCGImagePropertyExifDictionary)] = std::move(photo);
  if (!gps.empty()) properties[std::string(kCGImagePropertyGPSDictionary)] = std::move(gps);
  return properties;
}

std::optional<Data> writeProperties(const Data& encoded, const Dictionary& properties) {
  const auto header = readHeader(encoded.bytes());
  if (!header || (header->format != PictureFormat::jpeg && header->format != PictureFormat::png))
    return std::nullopt;
  Exiv2::ExifData exif = parsed(header->exif);
  setAll(exif, properties);
  if (exif.empty()) return encoded;
  try {
    Exiv2::Blob block;
    Exiv2::ExifParser::encode(block, Exiv2::littleEndian, exif);
    auto result = withExif(encoded.bytes(), header->format, block);
    if (!result) return std::nullopt;
    return Data(std::move(*result));
  } catch (...) {
    return std::nullopt;
  }
}

}  // namespace vecamera::device::imaging
