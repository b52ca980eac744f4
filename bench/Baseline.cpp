#include "bench/Baseline.h"

// jpeglib.h needs what stands before it.
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include <cstdlib>

#include "device/imaging/codecs/ExifOrientation.h"

namespace vecamera::bench {

namespace {

J_COLOR_SPACE spaceOf(RasterSpace space) {
  return space == RasterSpace::rgb ? JCS_RGB : JCS_YCbCr;
}

}  // namespace

Raster bareDecode(const Data& jpeg, unsigned denominator, RasterSpace space) {
  jpeg_decompress_struct info{};
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, jpeg.bytes().data(), jpeg.size());
  jpeg_read_header(&info, TRUE);
  info.scale_num = 1;
  info.scale_denom = denominator;
  info.out_color_space = spaceOf(space);
  jpeg_start_decompress(&info);
  Raster raster{info.output_width, info.output_height, {}};
  raster.bytes.resize(std::size_t{raster.width} * raster.height * 3);
  while (info.output_scanline < info.output_height) {
    JSAMPROW row = raster.row(info.output_scanline);
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  return raster;
}

std::vector<std::uint8_t> bareEncode(const Raster& raster, int quality, int orientation,
                                     RasterSpace space) {
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
  info.in_color_space = spaceOf(space);
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, quality, TRUE);
  if (quality == 100) info.comp_info[0].h_samp_factor = info.comp_info[0].v_samp_factor = 1;
  jpeg_start_compress(&info, TRUE);
  if (orientation != 1) {
    std::vector<std::uint8_t> block{'E', 'x', 'i', 'f', 0, 0};
    const auto exif = device::imaging::exifWithOrientation(orientation);
    block.insert(block.end(), exif.begin(), exif.end());
    jpeg_write_marker(&info, JPEG_APP0 + 1, block.data(), static_cast<unsigned>(block.size()));
  }
  while (info.next_scanline < info.image_height) {
    JSAMPROW row = const_cast<JSAMPROW>(raster.row(info.next_scanline));
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  std::vector<std::uint8_t> encoded(buffer, buffer + size);
  std::free(buffer);
  return encoded;
}

}  // namespace vecamera::bench
