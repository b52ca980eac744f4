#include "device/imaging/PngRoad.h"

#include <new>

#include "device/imaging/JpegCodec.h"
#include "device/imaging/JpegStreams.h"
#include "device/imaging/PngCodec.h"
#include "device/imaging/PngWriter.h"
#include "device/imaging/Render.h"

namespace vecamera::device {
namespace {

/// Not for CMYK, which is converted.
Attempt<std::vector<std::uint8_t>> pngOfStoredJpeg(const Encoded& stored,
                                                   const PictureThreads& threads) {
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

Encoding pngOf(const std::shared_ptr<const Source>& source, const PictureThreads& threads) try {
  const PictureThreads::AtWork atWork(threads);
  const Encoded* stored = source->encoded();
  if (stored && stored->header.format == PictureFormat::jpeg)
    if (auto png = pngOfStoredJpeg(*stored, threads)) return *png;
  const auto bitmap = render(*source, threads);
  return bitmap ? encodePng(*bitmap, threads) : std::nullopt;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace vecamera::device
