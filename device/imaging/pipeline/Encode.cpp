#include "device/imaging/pipeline/Encode.h"

#include <new>

#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/jpeg/JpegLosslessTransform.h"
#include "device/imaging/jpeg/JpegPlanes.h"
#include "device/imaging/jpeg/JpegReader.h"
#include "device/imaging/pipeline/Placement.h"
#include "device/imaging/pipeline/Render.h"
#include "device/imaging/png/PngCodec.h"
#include "device/imaging/png/PngWriter.h"

namespace vecamera::device::imaging {
namespace {

constexpr int bestQuality = 100;

/// Where the only picture of the canvas is placed. A stored picture is a canvas of its own size.
std::optional<Placement> onlyPlacement(const std::shared_ptr<const LazyImage>& image) {
  const DrawList* list = image->drawList();
  if (!list) return placementOf({image, {}}, image->width(), image->height());
  if (list->commands.size() != 1) return std::nullopt;
  return placementOf(list->commands.front(), list->width, list->height);
}

/// `unsupported` for what has to be rendered to pixels.
ImageResult<EncodedBytes> tryJpegFastPath(const std::shared_ptr<const LazyImage>& image,
                                          int quality, Bytes exif) {
  constexpr Failure unsupported(ImageError::unsupported);
  const auto placement = onlyPlacement(image);
  if (!placement || !placement->shows() || !placement->aligned) return unsupported;
  const AlignedPlacement& aligned = *placement->aligned;
  const bool fills =
      aligned.x().window.count == image->width() && aligned.y().window.count == image->height();
  const EncodedImage* stored = placement->image->encoded();
  if (!fills || !stored || stored->header.format != jpegFormat) return unsupported;
  const Bytes bytes = stored->bytes.bytes();
  if (quality == bestQuality && aligned.columns.isIdentity() && aligned.rows.isIdentity()) {
    auto transformed = transformJpegLosslessly(bytes, stored->header, aligned.orientation(), exif);
    // Planes take less memory than all coefficients, and so may do where those do not.
    if (transformed || transformed.error() == ImageError::corrupt) return transformed;
  }
  return resampleJpeg(bytes, stored->header, aligned, quality, exif);
}

/// `unsupported` for other pictures than JPEGs, and for CMYK, which is converted.
ImageResult<EncodedBytes> tryPngFastPath(const LazyImage& image, const ThreadBudget& threads) {
  const EncodedImage* stored = image.encoded();
  if (!stored || stored->header.format != jpegFormat) return Failure(ImageError::unsupported);
  const PictureHeader& header = stored->header;
  const Bytes bytes = stored->bytes.bytes();
  if (!jpegCanHold(bytes, header)) return Failure(ImageError::corrupt);
  JpegReader reader(bytes);
  if (const auto read = reader.readHeader(); !read) return read.failure();
  if (reader.isCmyk()) return Failure(ImageError::unsupported);
  const bool gray = reader.info().jpeg_color_space == JCS_GRAYSCALE;
  if (const auto started = reader.start({}, gray ? JCS_GRAYSCALE : JCS_RGB); !started)
    return started.failure();
  PngPixels pixels{header.width, header.height, gray ? 1u : 3u, stored->profile(), {}};
  pixels.nextRows = [&](std::uint8_t* to, std::size_t count) {
    auto read = reader.readRows(to, count);
    const bool isLast = reader.info().output_scanline == reader.info().output_height;
    return read && isLast ? reader.finish() : read;
  };
  return writePng(pixels, threads);
}

/// What the fast path gives, or else what the encoder makes of the rendered pixels.
template <class FastPath, class Encode>
ImageResult<EncodedBytes> encodeWith(const LazyImage& image, const ThreadBudget& threads,
                                     FastPath tryFastPath, Encode encodeBitmap) try {
  const ThreadBudget::Lease lease(threads);
  auto encoded = tryFastPath();
  if (encoded || encoded.error() != ImageError::unsupported) return encoded;
  const auto bitmap = render(image, threads);
  if (!bitmap) return bitmap.failure();
  return encodeBitmap(*bitmap);
} catch (const std::bad_alloc&) {
  return Failure(ImageError::outOfMemory);
}

}  // namespace

ImageResult<EncodedBytes> encodeJpeg(const std::shared_ptr<const LazyImage>& image, int quality,
                                     Bytes exif, const ThreadBudget& threads) {
  if (!fitsIntoJpeg(image->width(), image->height())) return Failure(ImageError::unsupported);
  return encodeWith(
      *image, threads, [&] { return tryJpegFastPath(image, quality, exif); },
      [&](const Bitmap& bitmap) { return encodeJpegBitmap(bitmap, quality, exif); });
}

ImageResult<EncodedBytes> encodePng(const std::shared_ptr<const LazyImage>& image,
                                    const ThreadBudget& threads) {
  return encodeWith(
      *image, threads, [&] { return tryPngFastPath(*image, threads); },
      [&](const Bitmap& bitmap) { return encodePngBitmap(bitmap, threads); });
}

}  // namespace vecamera::device::imaging
