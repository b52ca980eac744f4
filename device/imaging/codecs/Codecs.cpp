#include "device/imaging/codecs/Codecs.h"

#include <algorithm>
#include <string_view>

#include "device/imaging/base/ScratchBuffer.h"
#include "device/imaging/codecs/HeifCodec.h"
#include "device/imaging/codecs/WebpCodec.h"
#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/metadata/ExifBlock.h"
#include "device/imaging/png/PngCodec.h"
#include "device/imaging/png/PngRows.h"

namespace vecamera::device::imaging {
namespace {

std::string_view textAt(Bytes bytes, std::size_t offset, std::size_t length) {
  if (bytes.size() < offset + length) return {};
  return {reinterpret_cast<const char*>(bytes.data()) + offset, length};
}

/// Profiles of grey or CMYK colours do not describe the RGB pixels that decoding gives.
bool describesRgb(const std::vector<std::uint8_t>& profile) {
  constexpr std::size_t headerSize = 128;
  constexpr std::size_t colorSpaceOffset = 16;
  return profile.size() >= headerSize && textAt(profile, colorSpaceOffset, 4) == "RGB ";
}

std::optional<PictureHeader> readHeaderAs(PictureFormat format, Bytes bytes) {
  switch (format) {
    case PictureFormat::jpeg: return readJpegHeader(bytes).value();
    case PictureFormat::png: return readPngHeader(bytes);
    case PictureFormat::heic: return readHeifHeader(bytes);
    case PictureFormat::webp: return readWebpHeader(bytes);
  }
  return std::nullopt;
}

std::optional<Bitmap> decodeWhole(Bytes bytes, const PictureHeader& header) {
  switch (header.format) {
    case PictureFormat::png: return decodePng(bytes, header);
    case PictureFormat::heic: return decodeHeif(bytes, header);
    case PictureFormat::webp: return decodeWebp(bytes, header);
    default: return std::nullopt;
  }
}

ImageResult<Bitmap> decodeRows(RowSource& rows, const Orientation& orientation) {
  constexpr std::size_t bandRows = 16;
  const std::size_t width = rows.width();
  const std::size_t height = rows.height();
  auto bitmap = Bitmap::uninitialized(orientation.swapsAxes ? height : width,
                                      orientation.swapsAxes ? width : height);
  const ScratchBuffer band(width * bandRows * sizeof(std::uint32_t));
  if (!bitmap || !band) return Failure(ImageError::outOfMemory);
  auto* pixels = reinterpret_cast<std::uint32_t*>(band.data());
  for (std::size_t y = 0; y < height; y += bandRows) {
    const std::size_t count = std::min(bandRows, height - y);
    if (!rows.read(pixels, count)) return Failure(ImageError::corrupt);
    copyOriented(pixels, width, height, y, count, orientation, *bitmap);
  }
  if (!rows.finish()) return Failure(ImageError::corrupt);
  bitmap->setKnownOpaque(rows.isOpaque());
  return bitmap;
}

}  // namespace

std::string_view typeIdentifier(PictureFormat format) {
  switch (format) {
    case PictureFormat::jpeg: return "public.jpeg";
    case PictureFormat::png: return "public.png";
    case PictureFormat::heic: return "public.heic";
    case PictureFormat::webp: return "org.webmproject.webp";
  }
  return {};
}

std::string_view fileExtension(PictureFormat format) {
  switch (format) {
    case PictureFormat::jpeg: return "jpg";
    case PictureFormat::png: return "png";
    case PictureFormat::heic: return "heic";
    case PictureFormat::webp: return "webp";
  }
  return {};
}

std::optional<PictureFormat> formatOf(Bytes bytes) {
  if (textAt(bytes, 0, 3) == "\xFF\xD8\xFF") return PictureFormat::jpeg;
  if (textAt(bytes, 0, 8) == "\x89PNG\r\n\x1A\n") return PictureFormat::png;
  if (textAt(bytes, 0, 4) == "RIFF" && textAt(bytes, 8, 4) == "WEBP") return PictureFormat::webp;
  if (textAt(bytes, 4, 4) == "ftyp") {
    for (const std::string_view brand : {"heic", "heix", "heim", "heis", "mif1"})
      if (textAt(bytes, 8, 4) == brand) return PictureFormat::heic;
  }
  return std::nullopt;
}

ImageResult<PictureHeader> readHeader(Bytes bytes) {
  const auto format = formatOf(bytes);
  if (!format) return Failure(ImageError::unsupported);
  auto header = readHeaderAs(*format, bytes);
  if (!header || header->width == 0 || header->height == 0) return Failure(ImageError::corrupt);
  header->format = *format;
  // Colour profiles say nothing of grey pixels and inks, whatever the file claims.
  if (header->colorModel != ColorModel::rgb || !describesRgb(header->profile))
    header->profile.clear();
  // The pixels of a HEIC picture come out upright: its container turns them, not its Exif block.
  if (*format != PictureFormat::heic)
    header->orientation = orientationOfExif(orientationInExif(header->exif).value_or(1));
  return *std::move(header);
}

ImageResult<std::unique_ptr<RowSource>> openRows(Bytes bytes, const PictureHeader& header,
                                                 DecodeScale scale, const ThreadBudget& threads) {
  if (header.format == PictureFormat::jpeg) return openJpegRows(bytes, header, scale);
  if (header.format == PictureFormat::png)
    if (auto rows = openPngRows(bytes, header, threads)) return rows;
  return Failure(ImageError::unsupported);
}

DecodeScale decodeScaleFor(const PictureHeader& header, double storedPerResult) {
  return header.format == PictureFormat::jpeg ? jpegDecodeScale(storedPerResult) : DecodeScale{};
}

ImageResult<Bitmap> decode(Bytes bytes, const PictureHeader& header, const Orientation& orientation,
                           DecodeScale scale, const ThreadBudget& threads) {
  const auto rows = openRows(bytes, header, scale, threads);
  if (rows) return decodeRows(**rows, orientation);
  if (rows.error() != ImageError::unsupported) return rows.failure();
  auto whole = decodeWhole(bytes, header);
  if (!whole) return Failure(ImageError::corrupt);
  whole->setKnownOpaque(!header.hasAlpha);
  return oriented(std::move(*whole), orientation);
}

}  // namespace vecamera::device::imaging
