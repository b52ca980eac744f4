#include "device/imaging/pipeline/EncodePng.h"

#include <new>

#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/jpeg/JpegReader.h"
#include "device/imaging/pipeline/Render.h"
#include "device/imaging/png/PngCodec.h"
#include "device/imaging/png/PngWriter.h"

namespace vecamera::device::imaging {
namespace {

/// `unsupported` for other pictures than JPEGs, and for CMYK, which is converted.
ImageResult<EncodedBytes> tryFastPath(const LazyImage& image, const ThreadBudget& threads) {
  const EncodedImage* stored = image.encoded();
  if (!stored || stored->header.format != jpegFormat) return Failure(ImageError::unsupported);
  const PictureHeader& header = stored->header;
  const Bytes bytes = stored->bytes.bytes();
  if (!jpegCanHold(bytes, header)) return Failure(ImageError::corrupt);
  JpegReader reader(bytes);
  if (!reader.readHeader(JpegReader::Markers::ignore)) return reader.failure();
  if (reader.isCmyk()) return Failure(ImageError::unsupported);
  const bool gray = reader.info().jpeg_color_space == JCS_GRAYSCALE;
  if (!reader.start({}, gray ? JCS_GRAYSCALE : JCS_RGB)) return reader.failure();
  PngPixels pixels{header.width, header.height, gray ? 1u : 3u, nullptr, {}};
  if (!header.profile.empty())
    pixels.profile = std::make_shared<const EncodedBytes>(header.profile);
  pixels.nextRows = [&](std::uint8_t* to, std::size_t count) {
    return reader.readRows(to, count) == count &&
           (reader.info().output_scanline < reader.info().output_height || reader.finish());
  };
  auto png = writePng(pixels, threads);
  if (!png) return reader.failure();
  return *std::move(png);
}

}  // namespace

ImageResult<EncodedBytes> encodePng(const std::shared_ptr<const LazyImage>& image,
                                    const ThreadBudget& threads) try {
  const ThreadBudget::Lease lease(threads);
  auto encoded = tryFastPath(*image, threads);
  if (encoded || encoded.error() != ImageError::unsupported) return encoded;
  const auto bitmap = render(*image, threads);
  if (!bitmap) return bitmap.failure();
  auto png = encodePng(*bitmap, threads);
  if (!png) return Failure(ImageError::outOfMemory);
  return *std::move(png);
} catch (const std::bad_alloc&) {
  return Failure(ImageError::outOfMemory);
}

}  // namespace vecamera::device::imaging
