// What the pictures of the page cost, beside the bare codec. Each road starts from the bytes of a
// photograph as a camera stores it and ends with the bytes that the page or the album gets. The
// counter "ratio" is the road's time over that of libjpeg-turbo's bare decode of the same bytes (at
// the coarsest of its scales that still covers the result) and bare encode of the same result,
// measured in turns with the road in the same process.

#include <benchmark/benchmark.h>

// jpeglib.h needs what stands before it.
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "VECamera/imaging/ScalingAndOrientation.h"
#include "device/camera/TestScene.h"
#include "device/imaging/Canvas.h"
#include "device/imaging/Images.h"
#include "device/imaging/Pictures.h"

namespace vecamera::device {
namespace {

using Clock = std::chrono::steady_clock;

struct Raster {
  unsigned width = 0;
  unsigned height = 0;
  std::vector<std::uint8_t> rgb;
};

Raster bareDecode(const Data& jpeg, unsigned denominator) {
  jpeg_decompress_struct info{};
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, jpeg.bytes().data(), jpeg.size());
  jpeg_read_header(&info, TRUE);
  info.scale_num = 1;
  info.scale_denom = denominator;
  info.out_color_space = JCS_RGB;
  jpeg_start_decompress(&info);
  Raster raster{info.output_width, info.output_height, {}};
  const std::size_t stride = std::size_t{raster.width} * 3;
  raster.rgb.resize(stride * raster.height);
  while (info.output_scanline < info.output_height) {
    JSAMPROW row = raster.rgb.data() + info.output_scanline * stride;
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  return raster;
}

/// With the sampling that the road's encoder uses at that quality.
std::size_t bareEncode(const Raster& raster, int quality) {
  jpeg_compress_struct info{};
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = raster.width;
  info.image_height = raster.height;
  info.input_components = 3;
  info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, quality, TRUE);
  if (quality == 100) info.comp_info[0].h_samp_factor = info.comp_info[0].v_samp_factor = 1;
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    JSAMPROW row = const_cast<JSAMPROW>(raster.rgb.data()) +
                   std::size_t{info.next_scanline} * raster.width * 3;
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  std::free(buffer);
  return size;
}

/// 4032 x 3024 at quality 92 with halved chroma, stored on its side.
const Data& photograph() {
  static const Data photo =
      generateTestScene(4032, 3024, UIImageOrientation::right, 0, Dictionary());
  return photo;
}

std::shared_ptr<UIImage> upright(Graphics& graphics, const std::shared_ptr<UIImage>& image) {
  return imageCorrectedForCaptureOrientation(graphics, image, image->imageOrientation());
}

Data uprightFitted() {
  Images images;
  Graphics graphics;
  const auto image = upright(graphics, images.imageWithData(photograph()));
  return images
      .UIImageJPEGRepresentation(imageByScalingNotCroppingForSize(graphics, image, {1024, 1024}),
                                 0.75)
      .value();
}

Data uprightUnscaled() {
  Images images;
  Graphics graphics;
  return images
      .UIImageJPEGRepresentation(upright(graphics, images.imageWithData(photograph())), 1.0)
      .value();
}

/// The album keeps the edited or original picture as PNG.
Data albumPng() {
  Images images;
  return images.UIImagePNGRepresentation(images.imageWithData(photograph())).value();
}

struct Road {
  Data (*travel)();
  /// Of the bare codec's work beside it.
  unsigned denominator;
  int quality;
};

constexpr Road roads[] = {
    {uprightFitted, 2, 75},
    {uprightUnscaled, 1, 100},
    {albumPng, 1, 100},
};

/// The pixels that the bare encoder is given: those of the road's own result.
Raster resultOf(const Road& road) {
  const auto pixels = pixelsOf(*Images().imageWithData(road.travel())).value();
  Raster raster{static_cast<unsigned>(pixels.width()), static_cast<unsigned>(pixels.height()), {}};
  raster.rgb.reserve(pixels.width() * pixels.height() * 3);
  for (std::size_t y = 0; y < pixels.height(); ++y)
    for (std::size_t x = 0; x < pixels.width(); ++x) {
      const std::uint8_t* pixel = pixels.bytesOfRow(y) + 4 * x;
      raster.rgb.insert(raster.rgb.end(), pixel, pixel + 3);
    }
  return raster;
}

void pictureRoad(benchmark::State& state, const Road& road) {
  const Raster result = resultOf(road);
  double roadSeconds = 0;
  double bareSeconds = 0;
  std::size_t bytes = 0;
  for ([[maybe_unused]] auto _ : state) {
    const auto start = Clock::now();
    bytes = road.travel().size();
    const auto arrived = Clock::now();
    benchmark::DoNotOptimize(bareDecode(photograph(), road.denominator));
    benchmark::DoNotOptimize(bareEncode(result, road.quality));
    const auto end = Clock::now();
    const std::chrono::duration<double> travelled = arrived - start;
    roadSeconds += travelled.count();
    bareSeconds += std::chrono::duration<double>(end - arrived).count();
    state.SetIterationTime(travelled.count());
  }
  state.counters["ratio"] = roadSeconds / bareSeconds;
  state.counters["bytes"] = static_cast<double>(bytes);
}

BENCHMARK_CAPTURE(pictureRoad, upright_fit_1024_jpeg_75, roads[0])
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(pictureRoad, upright_unscaled_jpeg_100, roads[1])
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(pictureRoad, album_png, roads[2])->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vecamera::device
