#include <cstring>

#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/metadata/Metadata.h"
#include "device/imaging/png/PngChunks.h"
#include "device/imaging/png/PngCodec.h"

namespace vecamera::device::imaging {
namespace {

void append(EncodedBytes& to, Bytes bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

bool isExifSegment(std::uint8_t marker, Bytes contents) {
  constexpr std::uint8_t app1 = 0xE1;
  return marker == app1 && contents.size() >= jpegExifMarker.size() &&
         std::memcmp(contents.data(), jpegExifMarker.data(), jpegExifMarker.size()) == 0;
}

ImageResult<void> appendExifSegment(EncodedBytes& jpeg, Bytes exif) {
  const std::size_t length = 2 + jpegExifMarker.size() + exif.size();
  if (length > 0xFFFF) return Failure(ImageError::unsupported);
  for (const std::size_t byte : {std::size_t{0xFF}, std::size_t{0xE1}, length >> 8, length & 0xFF})
    jpeg.push_back(static_cast<std::uint8_t>(byte));
  jpeg.insert(jpeg.end(), jpegExifMarker.begin(), jpegExifMarker.end());
  append(jpeg, exif);
  return {};
}

/// The block goes behind the JFIF segment, which has to be the first one, and before all others.
ImageResult<EncodedBytes> jpegWithExif(Bytes jpeg, Bytes exif) {
  constexpr std::uint8_t app0 = 0xE0;
  constexpr std::uint8_t startOfScan = 0xDA;
  EncodedBytes result(jpeg.begin(), jpeg.begin() + 2);
  result.reserve(jpeg.size() + exif.size() + 16);
  bool placed = false;
  std::size_t at = 2;
  while (true) {
    if (jpeg.size() - at < 4 || jpeg[at] != 0xFF) return Failure(ImageError::corrupt);
    const std::uint8_t marker = jpeg[at + 1];
    if (marker == 0xFF) {  // a fill byte
      ++at;
      continue;
    }
    if (!placed && marker != app0) {
      if (const auto added = appendExifSegment(result, exif); !added) return added.failure();
      placed = true;
    }
    if (marker == startOfScan) break;
    const std::size_t length = std::size_t{jpeg[at + 2]} << 8 | jpeg[at + 3];
    if (length < 2 || length > jpeg.size() - at - 2) return Failure(ImageError::corrupt);
    if (!isExifSegment(marker, jpeg.subspan(at + 4, length - 2)))
      append(result, jpeg.subspan(at, length + 2));
    at += length + 2;
  }
  append(result, jpeg.subspan(at));
  return result;
}

ImageResult<EncodedBytes> pngWithExif(Bytes png, Bytes exif) {
  EncodedBytes result(pngSignature.begin(), pngSignature.end());
  result.reserve(png.size() + exif.size() + pngFrameSize);
  PngChunkReader chunks(png);
  for (bool isFirst = true; !chunks.rest().empty(); isFirst = false) {
    const auto chunk = chunks.next();
    if (!chunk) return Failure(ImageError::corrupt);
    if (chunk->type != "eXIf") append(result, chunk->whole);
    // The header chunk is the first one, so this is the earliest place there is.
    if (isFirst) appendPngChunk(result, "eXIf", exif);
  }
  return result;
}

}  // namespace

ImageResult<EncodedBytes> embedExif(Bytes encoded, const PictureFormat& format, Bytes exif) {
  if (format == jpegFormat) return jpegWithExif(encoded, exif);
  if (format == pngFormat) return pngWithExif(encoded, exif);
  return Failure(ImageError::unsupported);
}

}  // namespace vecamera::device::imaging
