#include "device/imaging/pipeline/EncodeJpeg.h"

#include <new>

#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/jpeg/JpegLosslessTransform.h"
#include "device/imaging/jpeg/JpegPlanes.h"
#include "device/imaging/pipeline/Placement.h"
#include "device/imaging/pipeline/Render.h"

namespace vecamera::device::imaging {
namespace {

constexpr int bestQuality = 100;

/// The one drawing on the canvas as it lies there. A stored picture lies on a canvas of its size.
std::optional<Placement> onlyPlacement(const std::shared_ptr<const LazyImage>& image) {
  const DrawList* list = image->drawList();
  if (!list) return placementOf({image, {}}, image->width(), image->height());
  if (list->commands.size() != 1) return std::nullopt;
  return placementOf(list->commands.front(), list->width, list->height);
}

ImageResult<EncodedBytes> tryFastPath(const std::shared_ptr<const LazyImage>& image, int quality,
                                      Bytes exif) {
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
    // Planes take less memory.
    if (transformed || transformed.error() == ImageError::corrupt) return transformed;
  }
  const auto planes = decodeJpegPlanes(bytes, stored->header, aligned, jpegChromaStep(quality));
  if (!planes) return planes.failure();
  return encodeJpegPlanes(*planes, quality, exif, stored->header.profile);
}

}  // namespace

ImageResult<EncodedBytes> encodeJpeg(const std::shared_ptr<const LazyImage>& image, int quality,
                                     Bytes exif, const ThreadBudget& threads) try {
  if (!fitsIntoJpeg(image->width(), image->height())) return Failure(ImageError::unsupported);
  const ThreadBudget::Lease lease(threads);
  auto encoded = tryFastPath(image, quality, exif);
  if (encoded || encoded.error() != ImageError::unsupported) return encoded;
  const auto bitmap = render(*image, threads);
  if (!bitmap) return bitmap.failure();
  return encodeJpeg(*bitmap, quality, exif);
} catch (const std::bad_alloc&) {
  return Failure(ImageError::outOfMemory);
}

}  // namespace vecamera::device::imaging
