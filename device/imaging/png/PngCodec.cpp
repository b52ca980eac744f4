#include "device/imaging/png/PngCodec.h"

#include <spng.h>

#include <algorithm>
#include <memory>

#include "device/base/Release.h"
#include "device/imaging/png/PngWriter.h"

namespace vecamera::device::imaging {
namespace {

/// Bounds what ancillary chunks may inflate to, one by one and together.
constexpr std::size_t maxChunkBytes = 8u << 20;
constexpr std::size_t maxCachedBytes = 16u << 20;
constexpr double metresPerInch = 0.0254;

using Context = std::unique_ptr<spng_ctx, Release<spng_ctx_free>>;

/// The only error is `outOfMemory`.
ImageResult<Context> open(Bytes bytes) {
  Context context(spng_ctx_new(0));
  constexpr std::uint32_t maxSide = 0x7FFFFFFF;
  if (!context || spng_set_image_limits(context.get(), maxSide, maxSide) ||
      spng_set_chunk_limits(context.get(), maxChunkBytes, maxCachedBytes) ||
      spng_set_png_buffer(context.get(), bytes.data(), bytes.size()))
    return Failure(ImageError::outOfMemory);
  return context;
}

void unpremultiply(const std::uint8_t* from, std::size_t width, std::uint8_t* to) {
  for (std::size_t x = 0; x < width; ++x, from += 4, to += 4) {
    const unsigned alpha = from[3];
    for (int channel = 0; channel < 3; ++channel) {
      const unsigned color = from[channel];
      to[channel] =
          alpha == 0 ? std::uint8_t{0}
                     : static_cast<std::uint8_t>(std::min(255u, (color * 255 + alpha / 2) / alpha));
    }
    to[3] = static_cast<std::uint8_t>(alpha);
  }
}

void dropAlpha(const std::uint8_t* from, std::size_t width, std::uint8_t* to) {
  for (std::size_t x = 0; x < width; ++x, from += 4, to += 3) std::copy_n(from, 3, to);
}

}  // namespace

bool pngCanHold(Bytes bytes, std::uint64_t filteredBytes) {
  // Deflate's longest match is 258 bytes and takes at least two bits.
  constexpr std::uint64_t maxDeflateRatio = 1032;
  return filteredBytes <= bytes.size() * maxDeflateRatio;
}

ImageResult<PictureHeader> readPngHeader(Bytes bytes) {
  const auto opened = open(bytes);
  if (!opened) return opened.failure();
  spng_ctx* const context = opened->get();
  spng_ihdr ihdr{};
  if (spng_get_ihdr(context, &ihdr)) return Failure(ImageError::corrupt);
  PictureHeader header;
  header.width = ihdr.width;
  header.height = ihdr.height;
  header.bitsPerChannel = ihdr.color_type == SPNG_COLOR_TYPE_INDEXED ? 8 : ihdr.bit_depth;
  if (ihdr.color_type == SPNG_COLOR_TYPE_GRAYSCALE ||
      ihdr.color_type == SPNG_COLOR_TYPE_GRAYSCALE_ALPHA)
    header.colorModel = ColorModel::gray;
  spng_trns transparency{};
  header.hasAlpha = ihdr.color_type == SPNG_COLOR_TYPE_GRAYSCALE_ALPHA ||
                    ihdr.color_type == SPNG_COLOR_TYPE_TRUECOLOR_ALPHA ||
                    !spng_get_trns(context, &transparency);
  spng_phys density{};
  if (!spng_get_phys(context, &density) && density.unit_specifier == 1) {
    header.dpiX = density.ppu_x * metresPerInch;
    header.dpiY = density.ppu_y * metresPerInch;
  }
  spng_exif exif{};
  if (!spng_get_exif(context, &exif) && exif.data)
    header.exif.assign(exif.data, exif.data + exif.length);
  spng_iccp profile{};
  if (!spng_get_iccp(context, &profile) && profile.profile)
    header.profile.assign(profile.profile, profile.profile + profile.profile_len);
  return header;
}

ImageResult<Bitmap> decodePng(Bytes bytes, const PictureHeader& header) {
  const auto opened = open(bytes);
  if (!opened) return opened.failure();
  spng_ctx* const context = opened->get();
  std::size_t filteredBytes = 0;
  if (spng_decoded_image_size(context, SPNG_FMT_PNG, &filteredBytes) ||
      !pngCanHold(bytes, filteredBytes))
    return Failure(ImageError::corrupt);
  auto bitmap = Bitmap::uninitialized(header.width, header.height);
  if (!bitmap) return bitmap;
  // Reading the chunks behind the pixels as well shows whether the file ends early.
  if (spng_decode_image(context, bitmap->row(0), bitmap->strideBytes() * bitmap->height(),
                        SPNG_FMT_RGBA8, SPNG_DECODE_TRNS) ||
      spng_decode_chunks(context))
    return Failure(ImageError::corrupt);
  if (header.hasAlpha) bitmap->premultiply();
  return bitmap;
}

ImageResult<EncodedBytes> encodePngBitmap(const Bitmap& bitmap, const ThreadBudget& threads) {
  const bool opaque = bitmap.isOpaque();
  const auto convertRow = opaque ? dropAlpha : unpremultiply;
  const std::size_t channels = opaque ? 3 : 4;
  std::size_t y = 0;
  const auto nextRows = [&](std::uint8_t* to, std::size_t count) -> ImageResult<void> {
    for (std::size_t i = 0; i < count; ++i, to += bitmap.width() * channels)
      convertRow(bitmap.bytesOfRow(y++), bitmap.width(), to);
    return {};
  };
  return writePng({bitmap.width(), bitmap.height(), channels, bitmap.profile(), nextRows}, threads);
}

}  // namespace vecamera::device::imaging
