#include "device/imaging/codecs/Codecs.h"

#include <algorithm>
#include <array>
#include <utility>

#include "device/base/JoinNames.h"
#include "device/imaging/base/ScratchBuffer.h"
#include "device/imaging/codecs/ExifOrientation.h"
#include "device/imaging/codecs/HeicCodec.h"
#include "device/imaging/codecs/WebpCodec.h"
#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/png/PngChunks.h"
#include "device/imaging/png/PngCodec.h"
#include "device/imaging/png/PngRows.h"

namespace vecamera::device::imaging {
namespace {

std::string_view textAt(Bytes bytes, std::size_t offset, std::size_t length) {
  if (bytes.size() < offset + length) return {};
  return {reinterpret_cast<const char*>(bytes.data()) + offset, length};
}

bool isHeic(Bytes bytes) {
  return textAt(bytes, 4, 4) == "ftyp" && heifBrandOf(textAt(bytes, 8, 4)) == HeifBrand::heic;
}

/// Where a format says how its stored pixels are to be oriented.
enum class OrientedBy { exif, decoder };

using Rows = ImageResult<std::unique_ptr<RowSource>>;

struct Codec {
  PictureFormat format;
  bool (*recognizes)(Bytes bytes);
  ImageResult<PictureHeader> (*readHeader)(Bytes bytes);
  OrientedBy orientedBy = OrientedBy::exif;
  /// Null where `openRows` takes every picture.
  ImageResult<Bitmap> (*decode)(Bytes bytes, const PictureHeader& header) = nullptr;
  /// Null where there is only decoding as a whole.
  Rows (*openRows)(Bytes bytes, const PictureHeader& header, DecodeScale scale,
                   const ThreadBudget& threads) = nullptr;
  /// Null where the decoder cannot scale.
  DecodeScale (*decodeScale)(double storedPerResult) = nullptr;
};

constexpr auto codecs = std::to_array<Codec>({
    {.format = jpegFormat,
     .recognizes = [](Bytes bytes) { return textAt(bytes, 0, 3) == "\xFF\xD8\xFF"; },
     .readHeader = readJpegHeader,
     .openRows = openJpegRows,
     .decodeScale = jpegDecodeScale},
    {.format = pngFormat,
     .recognizes = [](Bytes bytes) { return textAt(bytes, 0, 8) == pngSignature; },
     .readHeader = readPngHeader,
     .decode = decodePng,
     .openRows = openPngRows},
    {.format = heicFormat,
     .recognizes = isHeic,
     .readHeader = readHeicHeader,
     .orientedBy = OrientedBy::decoder,
     .decode = decodeHeic},
    {.format = webpFormat,
     .recognizes =
         [](Bytes bytes) { return textAt(bytes, 0, 4) == "RIFF" && textAt(bytes, 8, 4) == "WEBP"; },
     .readHeader = readWebpHeader,
     .decode = decodeWebp},
});

/// Null where none recognizes the first bytes.
const Codec* findCodec(Bytes start) {
  const auto* const found = std::find_if(
      codecs.begin(), codecs.end(), [&](const Codec& codec) { return codec.recognizes(start); });
  return found == codecs.end() ? nullptr : found;
}

const Codec& codecOf(const PictureHeader& header) {
  return *std::find_if(codecs.begin(), codecs.end(),
                       [&](const Codec& codec) { return codec.format == header.format; });
}

/// Profiles of grey or CMYK colours do not describe the RGB pixels that decoding gives.
bool describesRgb(const std::vector<std::uint8_t>& profile) {
  constexpr std::size_t headerSize = 128;
  constexpr std::size_t colorSpaceOffset = 16;
  return profile.size() >= headerSize && textAt(profile, colorSpaceOffset, 4) == "RGB ";
}

ImageResult<Bitmap> decodeRows(RowSource& rows, const Orientation& orientation) {
  constexpr std::size_t bandRows = 16;
  const PixelSize stored{rows.width(), rows.height()};
  const PixelSize shown = sidesOf(orientation, stored);
  auto bitmap = Bitmap::uninitialized(shown.width, shown.height);
  const ScratchBuffer band(stored.width * bandRows * sizeof(std::uint32_t));
  if (!bitmap || !band) return Failure(ImageError::outOfMemory);
  auto* pixels = reinterpret_cast<std::uint32_t*>(band.data());
  for (std::size_t y = 0; y < stored.height; y += bandRows) {
    const std::size_t count = std::min(bandRows, stored.height - y);
    if (const auto read = rows.read(pixels, count); !read) return read.failure();
    copyOriented(pixels, stored.width, stored.height, y, count, orientation, *bitmap);
  }
  if (const auto finished = rows.finish(); !finished) return finished.failure();
  bitmap->setKnownOpaque(rows.isOpaque());
  return bitmap;
}

}  // namespace

std::vector<PictureFormat> pictureFormats() {
  std::vector<PictureFormat> formats;
  for (const Codec& codec : codecs) formats.push_back(codec.format);
  return formats;
}

std::string formatNames(std::string_view lastSeparator) {
  return joinNames(pictureFormats(), &PictureFormat::name, lastSeparator);
}

bool isPicture(Bytes start) {
  return findCodec(start) != nullptr;
}

ImageResult<PictureHeader> readHeader(Bytes bytes) {
  const Codec* const codec = findCodec(bytes);
  if (!codec) return Failure(ImageError::unsupported);
  auto header = codec->readHeader(bytes);
  if (!header) return header;
  if (header->width == 0 || header->height == 0) return Failure(ImageError::corrupt);
  header->format = codec->format;
  if (header->colorModel != ColorModel::rgb || !describesRgb(header->profile))
    header->profile.clear();
  if (codec->orientedBy == OrientedBy::exif)
    header->orientation = orientationOfExif(exifOrientationTag(header->exif).value_or(1));
  return header;
}

DecodeScale decodeScaleFor(const PictureHeader& header, double storedPerResult) {
  const Codec& codec = codecOf(header);
  return codec.decodeScale ? codec.decodeScale(storedPerResult) : DecodeScale{};
}

Rows openRows(Bytes bytes, const PictureHeader& header, DecodeScale scale,
              const ThreadBudget& threads) {
  const Codec& codec = codecOf(header);
  if (!codec.openRows) return Failure(ImageError::unsupported);
  return codec.openRows(bytes, header, scale, threads);
}

ImageResult<Bitmap> decode(Bytes bytes, const PictureHeader& header, const Orientation& orientation,
                           DecodeScale scale, const ThreadBudget& threads) {
  const auto rows = openRows(bytes, header, scale, threads);
  if (rows) return decodeRows(**rows, orientation);
  const Codec& codec = codecOf(header);
  if (rows.error() != ImageError::unsupported || !codec.decode) return rows.failure();
  auto whole = codec.decode(bytes, header);
  if (!whole) return whole;
  whole->setKnownOpaque(!header.hasAlpha);
  return oriented(std::move(*whole), orientation);
}

}  // namespace vecamera::device::imaging
