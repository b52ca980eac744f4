#include "device/imaging/codecs/ExifOrientation.h"

#include <cstddef>
#include <cstdint>

namespace vecamera::device::imaging {
namespace {

constexpr std::uint32_t orientationTag = 0x0112;
constexpr std::uint32_t shortType = 3;

}  // namespace

std::optional<int> exifOrientationTag(Bytes exif) {
  if (exif.size() < 8) return std::nullopt;
  const bool bigEndian = exif[0] == 'M' && exif[1] == 'M';
  if (!bigEndian && !(exif[0] == 'I' && exif[1] == 'I')) return std::nullopt;
  const auto number = [&](std::size_t offset, std::size_t size) -> std::optional<std::uint32_t> {
    if (offset > exif.size() || exif.size() - offset < size) return std::nullopt;
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < size; ++i)
      value = value << 8 | exif[offset + (bigEndian ? i : size - 1 - i)];
    return value;
  };
  const auto directory = number(4, 4);
  if (!directory) return std::nullopt;
  const auto count = number(*directory, 2);
  constexpr std::size_t entrySize = 12;
  for (std::size_t i = 0; i < count.value_or(0); ++i) {
    const std::size_t entry = std::size_t{*directory} + 2 + i * entrySize;
    const auto tag = number(entry, 2);
    if (!tag) return std::nullopt;
    if (*tag != orientationTag || number(entry + 2, 2) != shortType) continue;
    const auto value = number(entry + 8, 2);
    if (value && *value >= 1 && *value <= 8) return static_cast<int>(*value);
  }
  return std::nullopt;
}

EncodedBytes exifWithOrientation(int orientation) {
  return {'M',  'M',  0, 42,        0, 0, 0, 8,  // the header, with the offset of the directory
          0,    1,                               // one entry
          0x01, 0x12, 0, shortType, 0, 0, 0, 1, 0, static_cast<std::uint8_t>(orientation),
          0,    0,    0, 0,         0, 0};  // no further directory
}

}  // namespace vecamera::device::imaging
