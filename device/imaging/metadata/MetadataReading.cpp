#include <exiv2/exiv2.hpp>

#include <algorithm>
#include <array>
#include <cmath>

#include "VECamera/platform/ImageIO.h"
#include "device/base/Utf8.h"
#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/metadata/Metadata.h"
#include "device/imaging/metadata/MetadataTags.h"

namespace vecamera::device::imaging {
namespace {

/// Longer ones are pictures and tables inside of the metadata, which the dictionaries leave out.
constexpr long maxNumbers = 64;

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
  const auto divided = [](auto numerator, auto denominator) -> std::optional<double> {
    if (denominator == 0) return std::nullopt;
    return static_cast<double>(numerator) / static_cast<double>(denominator);
  };
  if (value.typeId() == Exiv2::unsignedRational) {
    // The value's own accessor reads both numbers as signed.
    const auto* rationals = dynamic_cast<const Exiv2::URationalValue*>(&value);
    if (!rationals || index >= rationals->count()) return std::nullopt;
    const auto& [numerator, denominator] = rationals->value_[static_cast<std::size_t>(index)];
    return divided(numerator, denominator);
  }
  const auto [numerator, denominator] = value.toRational(index);
  return divided(numerator, denominator);
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
    case Exiv2::signedLong: return Value(value.toLong(index));
    default: return std::nullopt;
  }
}

std::optional<Value> plainValue(const Exiv2::Value& value, TagForm form) {
  if (value.typeId() == Exiv2::asciiString) return Value(cleanText(value.toString()));
  if (const auto* comment = dynamic_cast<const Exiv2::CommentValue*>(&value))
    return Value(cleanText(comment->comment()));
  const long count = value.count();
  if (count < 1 || count > maxNumbers) return std::nullopt;
  if (count == 1 && form != TagForm::list) return number(value, 0);
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

std::optional<Value> valueOf(const Exiv2::Value& value, TagForm form) {
  switch (form) {
    case TagForm::version: return versionValue(value);
    case TagForm::degrees: return degreesValue(value);
    case TagForm::timeOfDay: return timeValue(value);
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
      const TagName naming = keyOfTag(group, name);
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

}  // namespace

ImageResult<Dictionary> readProperties(const Data& data) {
  const auto header = readHeader(data.bytes());
  if (!header) return header.failure();
  const Exiv2::ExifData exif = parseExif(header->exif);
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
    // As the picture is opened, which for HEIC need not be what the tag says (HeicCodec.h).
    const Value orientation(exifOrientation(header->orientation));
    tiff.insert_or_assign(orientationKey, orientation);
    properties[orientationKey] = orientation;
  }
  if (!tiff.empty()) properties[std::string(kCGImagePropertyTIFFDictionary)] = std::move(tiff);
  if (!photo.empty()) properties[std::string(kCGImagePropertyExifDictionary)] = std::move(photo);
  if (!gps.empty()) properties[std::string(kCGImagePropertyGPSDictionary)] = std::move(gps);
  return properties;
}

}  // namespace vecamera::device::imaging
