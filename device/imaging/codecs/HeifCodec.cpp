#include "device/imaging/codecs/HeifCodec.h"

#include <libheif/heif.h>

#include <cstring>
#include <memory>

namespace vecamera::device::imaging {
namespace {

/// Far over what cameras write; what claims more is not read into memory.
constexpr std::size_t maxExifBytes = 1u << 20;
constexpr std::size_t maxProfileBytes = 8u << 20;

template <auto release>
struct Release {
  template <class T>
  void operator()(T* held) const {
    release(held);
  }
};
using Context = std::unique_ptr<heif_context, Release<heif_context_free>>;
using Handle = std::unique_ptr<heif_image_handle, Release<heif_image_handle_release>>;
using Image = std::unique_ptr<heif_image, Release<heif_image_release>>;
using Options = std::unique_ptr<heif_decoding_options, Release<heif_decoding_options_free>>;

struct Opened {
  Context context;
  Handle primary;
};

std::optional<Opened> open(Bytes bytes) {
  Opened opened{Context(heif_context_alloc()), nullptr};
  if (!opened.context || heif_context_read_from_memory_without_copy(
                             opened.context.get(), bytes.data(), bytes.size(), nullptr)
                             .code)
    return std::nullopt;
  heif_image_handle* primary = nullptr;
  if (heif_context_get_primary_image_handle(opened.context.get(), &primary).code)
    return std::nullopt;
  opened.primary.reset(primary);
  return opened;
}

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

std::optional<Bitmap> copyOf(const heif_image* image, const PictureHeader& header) {
  int stride = 0;
  const std::uint8_t* plane =
      heif_image_get_plane_readonly(image, heif_channel_interleaved, &stride);
  const int width = heif_image_get_width(image, heif_channel_interleaved);
  const int height = heif_image_get_height(image, heif_channel_interleaved);
  if (!plane || width != static_cast<int>(header.width) ||
      height != static_cast<int>(header.height))
    return std::nullopt;
  auto bitmap = Bitmap::uninitialized(header.width, header.height).value();
  if (!bitmap) return std::nullopt;
  for (std::size_t y = 0; y < bitmap->height(); ++y)
    std::memcpy(bitmap->row(y), plane + y * static_cast<std::size_t>(stride),
                bitmap->strideBytes());
  return bitmap;
}

std::optional<PictureHeader> readOpened(const heif_image_handle* handle) {
  const int width = heif_image_handle_get_width(handle);
  const int height = heif_image_handle_get_height(handle);
  if (width <= 0 || height <= 0) return std::nullopt;
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

}  // namespace

std::optional<PictureHeader> readHeifHeader(Bytes bytes) {
  // libheif is C++ inside and lets bad_alloc through.
  try {
    const auto opened = open(bytes);
    return opened ? readOpened(opened->primary.get()) : std::nullopt;
  } catch (...) {
    return std::nullopt;
  }
}

std::optional<Bitmap> decodeHeif(Bytes bytes, const PictureHeader& header) {
  try {
    const auto opened = open(bytes);
    if (!opened) return std::nullopt;
    const Options options(heif_decoding_options_alloc());
    if (!options) return std::nullopt;
    options->convert_hdr_to_8bit = 1;
    heif_image* decoded = nullptr;
    if (heif_decode_image(opened->primary.get(), &decoded, heif_colorspace_RGB,
                          heif_chroma_interleaved_RGBA, options.get())
            .code)
      return std::nullopt;
    const Image image(decoded);
    auto bitmap = copyOf(image.get(), header);
    if (bitmap && header.hasAlpha && !heif_image_is_premultiplied_alpha(image.get()))
      bitmap->premultiply();
    return bitmap;
  } catch (...) {
    return std::nullopt;
  }
}

}  // namespace vecamera::device::imaging
