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
std::optional<Placement> onlyLayout(const std::shared_ptr<const Source>& source) {
  const DrawList* recording = source->recording();
  if (!recording) return placementOf({source, {}}, source->width(), source->height());
  if (recording->drawings.size() != 1) return std::nullopt;
  return placementOf(recording->drawings.front(), recording->width, recording->height);
}

bool isMereTurn(const Placement& layout, std::size_t width, std::size_t height) {
  const bool swaps = layout.turn->swapsAxes;
  const std::size_t storedWidth = layout.source->width();
  const std::size_t storedHeight = layout.source->height();
  return layout.usable.columns == PixelRange{0, storedWidth} &&
         layout.usable.rows == PixelRange{0, storedHeight} &&
         width == (swaps ? storedHeight : storedWidth) &&
         height == (swaps ? storedWidth : storedHeight) && layout.x.low == 0 &&
         layout.x.high == static_cast<double>(width) && layout.y.low == 0 &&
         layout.y.high == static_cast<double>(height);
}

Attempt<std::vector<std::uint8_t>> shortWay(const std::shared_ptr<const Source>& source,
                                            int quality, Bytes exif) {
  const auto layout = onlyLayout(source);
  if (!layout || !PlanarCanvas::takes(*layout, source->width(), source->height()))
    return std::nullopt;
  const Encoded* stored = layout->source->encoded();
  if (!stored || stored->header.format != PictureFormat::jpeg) return std::nullopt;
  const Bytes bytes = stored->bytes.bytes();
  if (quality == bestQuality && isMereTurn(*layout, source->width(), source->height()))
    if (auto turned = turnedJpeg(bytes, stored->header, *layout->turn, exif)) return turned;
  const auto planes = planesOfJpeg(bytes, stored->header, *layout, source->width(),
                                   source->height(), jpegChromaStep(quality));
  if (!planes) return std::nullopt;
  if (!*planes) return failedAttempt<std::vector<std::uint8_t>>();
  return encodePlanes(**planes, quality, exif, stored->header.profile);
}

}  // namespace

EncodedBytes jpegOf(const std::shared_ptr<const Source>& source, int quality, Bytes exif,
                    const ThreadBudget& threads) try {
  if (!fitsIntoJpeg(source->width(), source->height())) return std::nullopt;
  const ThreadBudget::Lease atWork(threads);
  if (auto encoded = shortWay(source, quality, exif)) return *encoded;
  const auto bitmap = render(*source, threads);
  return bitmap ? encodeJpeg(*bitmap, quality, exif) : std::nullopt;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace vecamera::device::imaging
