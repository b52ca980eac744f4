#include "device/imaging/metadata/ExifBlock.h"

#include <cstring>
#include <string_view>

#include "device/imaging/png/PngWriter.h"

namespace vecamera::device::imaging {
namespace {

constexpr std::uint32_t orientationTag = 0x0112;
constexpr std::uint32_t shortType = 3;
constexpr std::string_view jpegMarker("Exif\0\0", 6);

/// Reads numbers of either byte order; what lies outside reads as nothing.
class TiffReader {
 public:
  TiffReader(Bytes bytes, bool bigEndian) : bytes_(bytes), bigEndian_(bigEndian) {}

  std::optional<std::uint32_t> number(std::size_t offset, std::size_t size) const {
    if (offset > bytes_.size() || bytes_.size() - offset < size) return std::nullopt;
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < size; ++i)
      value = value << 8 | bytes_[offset + (bigEndian_ ? i : size - 1 - i)];
    return value;
  }

 private:
  Bytes bytes_;
  bool bigEndian_;
};

void append(std::vector<std::uint8_t>& to, Bytes bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

bool isExifSegment(std::uint8_t marker, Bytes contents) {
  constexpr std::uint8_t app1 = 0xE1;
  return marker == app1 && contents.size() >= jpegMarker.size() &&
         std::memcmp(contents.data(), jpegMarker.data(), jpegMarker.size()) == 0;
}

bool appendExifSegment(std::vector<std::uint8_t>& jpeg, Bytes exif) {
  const std::size_t length = 2 + jpegMarker.size() + exif.size();
  if (length > 0xFFFF) return false;
  for (const std::size_t byte : {std::size_t{0xFF}, std::size_t{0xE1}, length >> 8, length & 0xFF})
    jpeg.push_back(static_cast<std::uint8_t>(byte));
  jpeg.insert(jpeg.end(), jpegMarker.begin(), jpegMarker.end());
  append(jpeg, exif);
  return true;
}

/// The block goes behind the JFIF segment, which has to stand first, and before all others.
std::optional<std::vector<std::uint8_t>> jpegWithExif(Bytes jpeg, Bytes exif) {
  constexpr std::uint8_t app0 = 0xE0;
  constexpr std::uint8_t startOfScan = 0xDA;
  std::vector<std::uint8_t> result(jpeg.begin(), jpeg.begin() + 2);
  result.reserve(jpeg.size() + exif.size() + 16);
  bool placed = false;
  std::size_t at = 2;
  while (true) {
    if (jpeg.size() - at < 4 || jpeg[at] != 0xFF) return std::nullopt;
    const std::uint8_t marker = jpeg[at + 1];
    if (marker == 0xFF) {  // a fill byte
      ++at;
      continue;
    }
    if (!placed && marker != app0) {
      if (!appendExifSegment(result, exif)) return std::nullopt;
      placed = true;
    }
    if (marker == startOfScan) break;
    const std::size_t length = std::size_t{jpeg[at + 2]} << 8 | jpeg[at + 3];
    if (length < 2 || length > jpeg.size() - at - 2) return std::nullopt;
    if (!isExifSegment(marker, jpeg.subspan(at + 4, length - 2)))
      append(result, jpeg.subspan(at, length + 2));
    at += length + 2;
  }
  append(result, jpeg.subspan(at));
  return result;
}

std::optional<std::vector<std::uint8_t>> pngWithExif(Bytes png, Bytes exif) {
  constexpr std::size_t signatureSize = 8;
  constexpr std::size_t chunkOverhead = 12;
  const TiffReader reader(png, true);
  std::vector<std::uint8_t> result(png.begin(), png.begin() + signatureSize);
  result.reserve(png.size() + exif.size() + chunkOverhead);
  for (std::size_t at = signatureSize; at < png.size();) {
    const auto contentSize = reader.number(at, 4);
    if (!contentSize || png.size() - at < chunkOverhead ||
        *contentSize > png.size() - at - chunkOverhead)
      return std::nullopt;
    const Bytes whole = png.subspan(at, *contentSize + chunkOverhead);
    if (std::memcmp(whole.data() + 4, "eXIf", 4) != 0) append(result, whole);
    // The header chunk stands first, so this is the earliest place there is.
    if (at == signatureSize) appendPngChunk(result, "eXIf", exif);
    at += whole.size();
  }
  return result;
}

}  // namespace

std::optional<int> orientationInExif(Bytes exif) {
  if (exif.size() < 8) return std::nullopt;
  const bool bigEndian = exif[0] == 'M' && exif[1] == 'M';
  if (!bigEndian && !(exif[0] == 'I' && exif[1] == 'I')) return std::nullopt;
  const TiffReader reader(exif, bigEndian);
  const auto directory = reader.number(4, 4);
  if (!directory) return std::nullopt;
  const auto count = reader.number(*directory, 2);
  constexpr std::size_t entrySize = 12;
  for (std::size_t i = 0; i < count.value_or(0); ++i) {
    const std::size_t entry = std::size_t{*directory} + 2 + i * entrySize;
    const auto tag = reader.number(entry, 2);
    if (!tag) return std::nullopt;
    if (*tag != orientationTag || reader.number(entry + 2, 2) != shortType) continue;
    const auto value = reader.number(entry + 8, 2);
    if (value && *value >= 1 && *value <= 8) return static_cast<int>(*value);
  }
  return std::nullopt;
}

std::vector<std::uint8_t> exifWithOrientation(int orientation) {
  return {'M',  'M',  0, 42,        0, 0, 0, 8,  // the head, and where the directory stands
          0,    1,                               // one entry
          0x01, 0x12, 0, shortType, 0, 0, 0, 1, 0, static_cast<std::uint8_t>(orientation),
          0,    0,    0, 0,         0, 0};  // no further directory
}

std::optional<std::vector<std::uint8_t>> withExif(Bytes encoded, PictureFormat format, Bytes exif) {
  if (format == PictureFormat::jpeg) return jpegWithExif(encoded, exif);
  if (format == PictureFormat::png) return pngWithExif(encoded, exif);
  return std::nullopt;
}

}  // namespace vecamera::device::imaging
