#include "tests/device/imaging/TestJpegs.h"

#include <cmath>
#include <cstdlib>
#include <tuple>

#include "device/imaging/codecs/ExifOrientation.h"
#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/metadata/Metadata.h"
#include "device/imaging/platform/Graphics.h"
#include "device/imaging/platform/ImageFactory.h"

namespace vecamera::device::imaging {

using Raw = std::vector<std::uint8_t>;

Data jpegWith(const Bitmap& bitmap, TJSAMP sampling, UIImageOrientation orientation) {
  constexpr int quality = 97;
  const tjhandle compressor = tjInitCompress();
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  tjCompress2(compressor, bitmap.bytesOfRow(0), static_cast<int>(bitmap.width()),
              static_cast<int>(bitmap.strideBytes()), static_cast<int>(bitmap.height()), TJPF_RGBX,
              &bytes, &size, sampling, quality, TJFLAG_ACCURATEDCT);
  Raw jpeg(bytes, bytes + size);
  tjFree(bytes);
  tjDestroy(compressor);
  if (orientation != UIImageOrientation::up)
    jpeg = *embedExif(jpeg, jpegFormat, exifWithOrientation(exifOrientation(orientation)));
  return Data(std::move(jpeg));
}

Data jpegOfRows(std::size_t width, std::size_t height, int components, J_COLOR_SPACE colors,
                const std::function<void(jpeg_compress_struct&)>& configure,
                const std::function<const std::uint8_t*(std::size_t y)>& row) {
  jpeg_compress_struct info{};
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = static_cast<JDIMENSION>(width);
  info.image_height = static_cast<JDIMENSION>(height);
  info.input_components = components;
  info.in_color_space = colors;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, 97, TRUE);
  configure(info);
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    JSAMPROW pointer = const_cast<JSAMPROW>(row(info.next_scanline));
    jpeg_write_scanlines(&info, &pointer, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  const Data jpeg = Data::copyOf(Bytes(buffer, size));
  std::free(buffer);
  return jpeg;
}

Data jpegOfFactors(const Bitmap& bitmap, ColorModel colors, const Factors& factors, Scans scans) {
  const auto configure = [&](jpeg_compress_struct& info) {
    if (colors == ColorModel::gray) jpeg_set_colorspace(&info, JCS_GRAYSCALE);
    const std::pair<int, int> all[] = {factors.luma, factors.blue, factors.red};
    for (int i = 0; i < info.num_components; ++i)
      std::tie(info.comp_info[i].h_samp_factor, info.comp_info[i].v_samp_factor) = all[i];
    if (scans == Scans::progressive) jpeg_simple_progression(&info);
    static constexpr jpeg_scan_info each[] = {
        {1, {0}, 0, 63, 0, 0}, {1, {1}, 0, 63, 0, 0}, {1, {2}, 0, 63, 0, 0}};
    if (scans == Scans::oneOfEachComponent) {
      info.scan_info = each;
      info.num_scans = info.num_components;
    }
  };
  return jpegOfRows(bitmap.width(), bitmap.height(), 4, JCS_EXT_RGBX, configure,
                    [&](std::size_t y) { return bitmap.bytesOfRow(y); });
}

Bitmap landscape(std::size_t width, std::size_t height) {
  return bitmapOf(width, height, [&](std::size_t x, std::size_t y) {
    const double u = static_cast<double>(x) / static_cast<double>(width);
    const double v = static_cast<double>(y) / static_cast<double>(height);
    const double detail =
        20 * std::sin(static_cast<double>(x) / 5) * std::cos(static_cast<double>(y) / 7);
    return Rgba{static_cast<int>(40 + 150 * u + detail), static_cast<int>(60 + 130 * v + detail),
                static_cast<int>(200 - 80 * u - 60 * v + detail)};
  });
}

std::shared_ptr<UIImage> drawn(const std::shared_ptr<UIImage>& image, CGSize canvas,
                               const CGRect& rect) {
  Graphics graphics;
  const auto context = graphics.beginImageContext(canvas);
  context->drawInRect(image, rect);
  return context->imageFromCurrentImageContext();
}

std::shared_ptr<UIImage> drawnAtOwnSize(const std::shared_ptr<UIImage>& image) {
  const CGSize size = image->size();
  return drawn(image, size, {0, 0, size.width, size.height});
}

double meanDifference(const Bitmap& a, const Bitmap& b) {
  double sum = 0;
  for (std::size_t y = 0; y < a.height(); ++y)
    for (std::size_t i = 0; i < a.strideBytes(); ++i)
      sum += std::abs(a.bytesOfRow(y)[i] - b.bytesOfRow(y)[i]);
  return sum / static_cast<double>(a.strideBytes() * a.height());
}

void expectSamePicture(const std::shared_ptr<UIImage>& image, double quality, int max,
                       double mean) {
  const auto encoded = ImageFactory().UIImageJPEGRepresentation(image, quality);
  ASSERT_TRUE(encoded);
  const Bitmap actual = pixelsOfImage(opened(*encoded));
  const Bitmap expected = pixelsOfImage(
      opened(Data(*encodeJpegBitmap(pixelsOfImage(image), jpegQuality(quality), {}))));
  ASSERT_EQ(actual.width(), expected.width());
  ASSERT_EQ(actual.height(), expected.height());
  EXPECT_LE(largestDifference(actual, expected), max);
  EXPECT_LE(meanDifference(actual, expected), mean);
}

}  // namespace vecamera::device::imaging
