#include "device/imaging/codecs/WebpCodec.h"

#include <webp/decode.h>

#include <cstring>
#include <string_view>

#include "device/imaging/jpeg/JpegCodec.h"

namespace vecamera::device::imaging {
namespace {

/// The contents of the first chunk of that name in the RIFF container, or an empty span.
Bytes chunk(Bytes bytes, std::string_view name) {
  constexpr std::size_t firstChunk = 12;
  constexpr std::size_t chunkHead = 8;
  std::size_t at = firstChunk;
  while (at + chunkHead <= bytes.size()) {
    const auto byte = [&](std::size_t i) { return std::size_t{bytes[at + 4 + i]}; };
    const std::size_t size = byte(0) | byte(1) << 8 | byte(2) << 16 | byte(3) << 24;
    if (size > bytes.size() - at - chunkHead) return {};
    if (std::memcmp(bytes.data() + at, name.data(), name.size()) == 0)
      return bytes.subspan(at + chunkHead, size);
    at += chunkHead + size + size % 2;
  }
  return {};
}

}  // namespace

ImageResult<PictureHeader> readWebpHeader(Bytes bytes) {
  WebPBitstreamFeatures features{};
  if (WebPGetFeatures(bytes.data(), bytes.size(), &features) != VP8_STATUS_OK ||
      features.has_animation || features.width <= 0 || features.height <= 0)
    return Failure(ImageError::corrupt);
  PictureHeader header;
  header.width = static_cast<std::uint32_t>(features.width);
  header.height = static_cast<std::uint32_t>(features.height);
  header.hasAlpha = features.has_alpha;
  Bytes exif = chunk(bytes, "EXIF");
  // Some writers keep the marker that leads the block in a JPEG.
  const std::size_t prefix = jpegExifMarker.size();
  if (exif.size() > prefix && std::memcmp(exif.data(), jpegExifMarker.data(), prefix) == 0)
    exif = exif.subspan(prefix);
  header.exif.assign(exif.begin(), exif.end());
  const Bytes profile = chunk(bytes, "ICCP");
  header.profile.assign(profile.begin(), profile.end());
  return header;
}

ImageResult<Bitmap> decodeWebp(Bytes bytes, const PictureHeader& header) {
  auto bitmap = Bitmap::uninitialized(header.width, header.height);
  WebPDecoderConfig config;
  if (!bitmap || !WebPInitDecoderConfig(&config)) return Failure(ImageError::outOfMemory);
  config.output.colorspace = MODE_rgbA;  // premultiplied
  config.output.is_external_memory = 1;
  config.output.u.RGBA.rgba = bitmap->bytesOfRow(0);
  config.output.u.RGBA.stride = static_cast<int>(bitmap->strideBytes());
  config.output.u.RGBA.size = bitmap->strideBytes() * bitmap->height();
  const auto status = WebPDecode(bytes.data(), bytes.size(), &config);
  WebPFreeDecBuffer(&config.output);
  if (status == VP8_STATUS_OUT_OF_MEMORY) return Failure(ImageError::outOfMemory);
  if (status != VP8_STATUS_OK) return Failure(ImageError::corrupt);
  return bitmap;
}

}  // namespace vecamera::device::imaging
