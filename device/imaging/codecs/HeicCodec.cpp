#include "device/imaging/codecs/HeicCodec.h"

#include <libheif/heif.h>

#include <cstring>
#include <memory>

#include "device/base/Release.h"

namespace vecamera::device::imaging {
namespace {

/// Far over what cameras write; what claims more is not read into memory.
constexpr std::size_t maxExifBytes = 1u << 20;
constexpr std::size_t maxProfileBytes = 8u << 20;

using Context = std::unique_ptr<heif_context, Release<heif_context_free>>;
using Handle = std::unique_ptr<heif_image_handle, Release<heif_image_handle_release>>;
using Image = std::unique_ptr<heif_image, Release<heif_image_release>>;
using Options = std::unique_ptr<heif_decoding_options, Release<heif_decoding_options_free>>;

/// The block behind the four-byte offset that leads it in this container.
std::vector<std::uint8_t> exifOf(const heif_image_handle* handle) {
  heif_item_id id = 0;
  if (heif_image_handle_get_list_of_metadata_block_IDs(handle, "Exif", &id, 1) != 1) return {};
  const std::size_t size = heif_image_handle_get_metadata_size(handle, id);
  if (size <= 4 || size > maxExifBytes) return {};
  std::vector<std::uint8_t> block(size);
  if (heif_image_handle_get_metadata(handle, id, block.data()).code) return {};
  const std::size_t start = 4 + ((std::size_t{block[0]} << 24) | (std::size_t{block[1]} << 16) |
                                 (std::size_t{block[2]} << 8) | std::size_t{block[3]});
  if (start >= block.size()) return {};
  block.erase(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(start));
  return block;
}

std::vector<std::uint8_t> profileOf(const heif_image_handle* handle) {
  const std::size_t size = heif_image_handle_get_raw_color_profile_size(handle);
  if (size == 0 || size > maxProfileBytes) return {};
  std::vector<std::uint8_t> profile(size);
  if (heif_image_handle_get_raw_color_profile(handle, profile.data()).code) return {};
  return profile;
}

ImageResult<Bitmap> copyOf(const heif_image* image, const PictureHeader& header) {
  int stride = 0;
  const std::uint8_t* plane =
      heif_image_get_plane_readonly(image, heif_channel_interleaved, &stride);
  const int width = heif_image_get_width(image, heif_channel_interleaved);
  const int height = heif_image_get_height(image, heif_channel_interleaved);
  if (!plane || width != static_cast<int>(header.width) ||
      height != static_cast<int>(header.height))
    return Failure(ImageError::corrupt);
  auto bitmap = Bitmap::uninitialized(header.width, header.height);
  if (!bitmap) return bitmap;
  for (std::size_t y = 0; y < bitmap->height(); ++y)
    std::memcpy(bitmap->row(y), plane + y * static_cast<std::size_t>(stride),
                bitmap->strideBytes());
  return bitmap;
}

ImageResult<PictureHeader> readPrimary(const heif_image_handle* handle) {
  const int width = heif_image_handle_get_width(handle);
  const int height = heif_image_handle_get_height(handle);
  if (width <= 0 || height <= 0) return Failure(ImageError::corrupt);
  PictureHeader header;
  header.width = static_cast<std::uint32_t>(width);
  header.height = static_cast<std::uint32_t>(height);
  header.hasAlpha = heif_image_handle_has_alpha_channel(handle);
  const int bits = heif_image_handle_get_luma_bits_per_pixel(handle);
  if (bits > 0) header.bitsPerChannel = bits;
  header.exif = exifOf(handle);
  header.profile = profileOf(handle);
  return header;
}

ImageResult<Bitmap> decodePrimary(const heif_image_handle* handle, const PictureHeader& header) {
  const Options options(heif_decoding_options_alloc());
  if (!options) return Failure(ImageError::outOfMemory);
  options->convert_hdr_to_8bit = 1;
  heif_image* decoded = nullptr;
  if (heif_decode_image(handle, &decoded, heif_colorspace_RGB, heif_chroma_interleaved_RGBA,
                        options.get())
          .code)
    return Failure(ImageError::corrupt);
  const Image image(decoded);
  auto bitmap = copyOf(image.get(), header);
  if (bitmap && header.hasAlpha && !heif_image_is_premultiplied_alpha(image.get()))
    bitmap->premultiply();
  return bitmap;
}

/// libheif is C++ inside and lets exceptions through, mostly for lack of memory.
template <class T, class Read>
ImageResult<T> withPrimary(Bytes bytes, Read read) try {
  const Context context(heif_context_alloc());
  if (!context) return Failure(ImageError::outOfMemory);
  heif_image_handle* primary = nullptr;
  if (heif_context_read_from_memory_without_copy(context.get(), bytes.data(), bytes.size(), nullptr)
          .code ||
      heif_context_get_primary_image_handle(context.get(), &primary).code)
    return Failure(ImageError::corrupt);
  const Handle owned(primary);
  return read(primary);
} catch (...) {
  return Failure(ImageError::outOfMemory);
}

}  // namespace

HeifBrand heifBrandOf(std::string_view majorBrand) {
  for (const char* const brand : {"heic", "heix", "heim", "heis", "mif1"})
    if (majorBrand == brand) return HeifBrand::heic;
  for (const char* const brand : {"avif", "avis", "hevc", "hevx", "msf1"})
    if (majorBrand == brand) return HeifBrand::other;
  return HeifBrand::none;
}

ImageResult<PictureHeader> readHeicHeader(Bytes bytes) {
  return withPrimary<PictureHeader>(bytes, readPrimary);
}

ImageResult<Bitmap> decodeHeic(Bytes bytes, const PictureHeader& header) {
  return withPrimary<Bitmap>(
      bytes, [&](const heif_image_handle* handle) { return decodePrimary(handle, header); });
}

}  // namespace vecamera::device::imaging
