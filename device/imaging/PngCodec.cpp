#include "device/imaging/PngCodec.h"

#include <libdeflate.h>
#include <spng.h>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <string_view>

namespace vecamera::device {
namespace {

constexpr std::string_view signature = "\x89PNG\r\n\x1A\n";
constexpr std::string_view profileName = "ICC profile";
/// Bounds what ancillary chunks may unpack to, one by one and together.
constexpr std::size_t maxChunkBytes = 8u << 20;
constexpr std::size_t maxCachedBytes = 16u << 20;
/// The best that deflate can do.
constexpr std::uint64_t maxDeflateRatio = 1032;
constexpr double metresPerInch = 0.0254;

struct FreeContext {
  void operator()(spng_ctx* context) const { spng_ctx_free(context); }
};
using Context = std::unique_ptr<spng_ctx, FreeContext>;

Context open(Bytes bytes) {
  Context context(spng_ctx_new(0));
  if (!context) return nullptr;
  constexpr std::uint32_t maxSide = 0x7FFFFFFF;
  if (spng_set_image_limits(context.get(), maxSide, maxSide) ||
      spng_set_chunk_limits(context.get(), maxChunkBytes, maxCachedBytes) ||
      spng_set_png_buffer(context.get(), bytes.data(), bytes.size()))
    return nullptr;
  return context;
}

bool canHold(Bytes bytes, const spng_ihdr& ihdr) {
  constexpr std::array<std::uint64_t, 7> channels{1, 0, 3, 1, 2, 0, 4};
  const std::uint64_t bitsPerRow =
      std::uint64_t{ihdr.width} * channels.at(ihdr.color_type) * ihdr.bit_depth;
  return bitsPerRow / 8 * ihdr.height <= bytes.size() * maxDeflateRatio;
}

void appendBigEndian(std::vector<std::uint8_t>& bytes, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes.push_back(static_cast<std::uint8_t>(number >> shift));
}

void packRgb(const std::uint8_t* from, std::size_t width, std::uint8_t* to) {
  for (std::size_t x = 0; x < width; ++x, from += 4, to += 3) {
    to[0] = from[0];
    to[1] = from[1];
    to[2] = from[2];
  }
}

void packRgba(const std::uint8_t* from, std::size_t width, std::uint8_t* to) {
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

/// The rows as PNG compresses them: each led by its filter, which is always "up" (the difference
/// from the row above). It costs next to nothing and suits photographs.
std::vector<std::uint8_t> filteredRows(const Bitmap& bitmap, bool opaque) {
  constexpr std::uint8_t filterUp = 2;
  const std::size_t rowBytes = bitmap.width() * (opaque ? 3 : 4);
  std::vector<std::uint8_t> filtered((rowBytes + 1) * bitmap.height());
  std::vector<std::uint8_t> above(rowBytes);
  std::vector<std::uint8_t> row(rowBytes);
  std::uint8_t* to = filtered.data();
  for (std::size_t y = 0; y < bitmap.height(); ++y, to += rowBytes) {
    (opaque ? packRgb : packRgba)(bitmap.bytesOfRow(y), bitmap.width(), row.data());
    *to++ = filterUp;
    for (std::size_t i = 0; i < rowBytes; ++i) to[i] = static_cast<std::uint8_t>(row[i] - above[i]);
    row.swap(above);
  }
  return filtered;
}

/// A zlib stream, or an empty one where the memory cannot be had.
std::vector<std::uint8_t> compressed(Bytes plain) {
  constexpr int level = 1;
  const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
      libdeflate_alloc_compressor(level), libdeflate_free_compressor);
  if (!compressor) return {};
  std::vector<std::uint8_t> packed(libdeflate_zlib_compress_bound(compressor.get(), plain.size()));
  packed.resize(libdeflate_zlib_compress(compressor.get(), plain.data(), plain.size(),
                                         packed.data(), packed.size()));
  return packed;
}

std::vector<std::uint8_t> headerChunk(std::size_t width, std::size_t height, bool opaque) {
  std::vector<std::uint8_t> contents;
  appendBigEndian(contents, static_cast<std::uint32_t>(width));
  appendBigEndian(contents, static_cast<std::uint32_t>(height));
  const std::uint8_t colorType =
      opaque ? SPNG_COLOR_TYPE_TRUECOLOR : SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
  for (const std::uint8_t byte :
       {std::uint8_t{8}, colorType, std::uint8_t{0}, std::uint8_t{0}, std::uint8_t{0}})
    contents.push_back(byte);
  return contents;
}

std::vector<std::uint8_t> profileChunk(const std::vector<std::uint8_t>& profile) {
  std::vector<std::uint8_t> contents(profileName.begin(), profileName.end());
  contents.push_back(0);  // ends the name
  contents.push_back(0);  // the compression method: zlib
  const auto packed = compressed(profile);
  contents.insert(contents.end(), packed.begin(), packed.end());
  return contents;
}

}  // namespace

std::optional<PictureHeader> readPngHeader(Bytes bytes) {
  const Context context = open(bytes);
  spng_ihdr ihdr{};
  if (!context || spng_get_ihdr(context.get(), &ihdr)) return std::nullopt;
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
                    !spng_get_trns(context.get(), &transparency);
  spng_phys density{};
  if (!spng_get_phys(context.get(), &density) && density.unit_specifier == 1) {
    header.dpiX = density.ppu_x * metresPerInch;
    header.dpiY = density.ppu_y * metresPerInch;
  }
  spng_exif exif{};
  if (!spng_get_exif(context.get(), &exif) && exif.data)
    header.exif.assign(exif.data, exif.data + exif.length);
  spng_iccp profile{};
  if (!spng_get_iccp(context.get(), &profile) && profile.profile)
    header.profile.assign(profile.profile, profile.profile + profile.profile_len);
  return header;
}

std::optional<Bitmap> decodePng(Bytes bytes, const PictureHeader& header) {
  const Context context = open(bytes);
  spng_ihdr ihdr{};
  if (!context || spng_get_ihdr(context.get(), &ihdr) || !canHold(bytes, ihdr)) return std::nullopt;
  auto bitmap = Bitmap::uninitialized(header.width, header.height);
  if (!bitmap) return std::nullopt;
  // Reading the chunks behind the pixels as well shows whether the file ends early.
  if (spng_decode_image(context.get(), bitmap->row(0), bitmap->strideBytes() * bitmap->height(),
                        SPNG_FMT_RGBA8, SPNG_DECODE_TRNS) ||
      spng_decode_chunks(context.get()))
    return std::nullopt;
  if (header.hasAlpha) bitmap->premultiply();
  return bitmap;
}

void appendPngChunk(std::vector<std::uint8_t>& png, const char (&type)[5], Bytes contents) {
  appendBigEndian(png, static_cast<std::uint32_t>(contents.size()));
  const std::size_t checkedFrom = png.size();
  png.insert(png.end(), type, type + 4);
  png.insert(png.end(), contents.begin(), contents.end());
  appendBigEndian(png, libdeflate_crc32(0, png.data() + checkedFrom, png.size() - checkedFrom));
}

std::optional<std::vector<std::uint8_t>> encodePng(Bitmap bitmap) {
  const bool opaque = bitmap.isOpaque();
  const auto head = headerChunk(bitmap.width(), bitmap.height(), opaque);
  const ColorProfile profile = bitmap.profile();
  auto filtered = filteredRows(bitmap, opaque);
  { const Bitmap released = std::move(bitmap); }
  const auto pixels = compressed(filtered);
  filtered = {};
  constexpr std::size_t maxChunkLength = 0x7FFFFFFF;
  if (pixels.empty() || pixels.size() > maxChunkLength) return std::nullopt;

  std::vector<std::uint8_t> png(signature.begin(), signature.end());
  png.reserve(pixels.size() + 1024 + (profile ? profile->size() : 0));
  appendPngChunk(png, "IHDR", head);
  if (profile) appendPngChunk(png, "iCCP", profileChunk(*profile));
  appendPngChunk(png, "IDAT", pixels);
  appendPngChunk(png, "IEND", {});
  return png;
}

}  // namespace vecamera::device
