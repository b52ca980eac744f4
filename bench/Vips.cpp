#include "bench/Contender.h"

#ifdef VECAMERA_BENCH_VIPS
#include <vips/vips.h>
#endif

namespace vecamera::bench {

#ifdef VECAMERA_BENCH_VIPS

namespace {

EncodedBytes convert(const Workload& workload, const Data& source) {
  void* bytes = const_cast<std::uint8_t*>(source.bytes().data());
  const std::size_t size = source.size();
  VipsImage* image = nullptr;
  const auto side = static_cast<int>(workload.side);
  if (workload.side > 0) {
    if (vips_thumbnail_buffer(bytes, size, &image, side, "height", side, nullptr)) return {};
  } else {
    // Rotating needs rows from everywhere.
    const VipsAccess access = workload.quality > 0 ? VIPS_ACCESS_RANDOM : VIPS_ACCESS_SEQUENTIAL;
    VipsImage* loaded = vips_image_new_from_buffer(bytes, size, "", "access", access, nullptr);
    if (!loaded) return {};
    // The album keeps what the camera stored.
    const int failed = workload.quality > 0 ? vips_autorot(loaded, &image, nullptr)
                                            : vips_copy(loaded, &image, nullptr);
    g_object_unref(loaded);
    if (failed) return {};
  }
  void* encoded = nullptr;
  std::size_t length = 0;
  if (workload.quality > 0)
    vips_jpegsave_buffer(image, &encoded, &length, "Q", workload.quality, nullptr);
  else
    vips_pngsave_buffer(image, &encoded, &length, nullptr);
  g_object_unref(image);
  const auto* first = static_cast<const std::uint8_t*>(encoded);
  EncodedBytes result(first, first + length);
  g_free(encoded);
  return result;
}

}  // namespace

std::unique_ptr<Contender> vips() {
  if (VIPS_INIT("vecamera_bench")) return nullptr;
  // Each workload is done afresh.
  vips_cache_set_max(0);
  return std::make_unique<LocalContender>("libvips", vips_version_string(), convert);
}

#else

std::unique_ptr<Contender> vips() {
  return nullptr;
}

#endif

}  // namespace vecamera::bench
