#include "device/imaging/pipeline/EncodePng.h"

#include <new>

#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/jpeg/JpegStreams.h"
#include "device/imaging/pipeline/Render.h"
#include "device/imaging/png/PngCodec.h"
#include "device/imaging/png/PngWriter.h"

namespace vecamera::device::imaging {
namespace {

/// Not for CMYK, which is converted.
Attempt<std::vector<std::uint8_t>> pngOfStoredJpeg(const Encoded& stored,
                                                   const ThreadBudget& threads) {
  constexpr auto failed = failedAttempt<std::vector<std::uint8_t>>;
  const PictureHeader& header = stored.header;
  const Bytes bytes = stored.bytes.bytes();
  JpegReader reader(bytes);
  if (!jpegCanHold(bytes, header) || !reader.readHeader(JpegReader::Markers::ignore))
    return failed();
  if (reader.isCmyk()) return std::nullopt;
  const bool gray = reader.info().jpeg_color_space == JCS_GRAYSCALE;
  if (!reader.start(DCTSIZE, gray ? JCS_GRAYSCALE : JCS_RGB)) return failed();
  PngPixels pixels{header.width, header.height, gray ? 1u : 3u, nullptr, {}};
  if (!header.profile.empty())
    pixels.profile = std::make_shared<const std::vector<std::uint8_t>>(header.profile);
  pixels.nextRows = [&](std::uint8_t* to, std::size_t count) {
    return reader.readRows(to, count) == count &&
           (reader.info().output_scanline < reader.info().output_height || reader.finish());
  };
  return writePng(pixels, threads);
}

}  // namespace

EncodedBytes pngOf(const std::shared_ptr<const Source>& source, const ThreadBudget& threads) try {
  const ThreadBudget::Lease atWork(threads);
  const Encoded* stored = source->encoded();
  if (stored && stored->header.format == PictureFormat::jpeg)
    if (auto png = pngOfStoredJpeg(*stored, threads)) return *png;
  const auto bitmap = render(*source, threads);
  return bitmap ? encodePng(*bitmap, threads) : std::nullopt;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace vecamera::device::imaging
