#include "device/imaging/jpeg/JpegCodec.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "device/imaging/jpeg/JpegWriter.h"

namespace vecamera::device::imaging {
namespace {

/// Adobe's writers store the four inks inverted, and practically every CMYK JPEG is one of theirs.
void cmykToRgb(std::uint32_t* pixels, std::size_t count, bool inverted) {
  auto* bytes = reinterpret_cast<std::uint8_t*>(pixels);
  for (std::size_t i = 0; i < count; ++i, bytes += 4) {
    const unsigned black = inverted ? bytes[3] : 255 - bytes[3];
    for (int channel = 0; channel < 3; ++channel) {
      const unsigned ink = inverted ? bytes[channel] : 255 - bytes[channel];
      bytes[channel] = multiplyDiv255(ink, black);
    }
    bytes[3] = 255;
  }
}

void composeOverWhite(const std::uint8_t* from, std::size_t width, std::uint8_t* to) {
  for (std::size_t x = 0; x < width; ++x, from += 4, to += 4) {
    const auto white = static_cast<std::uint8_t>(255 - from[3]);
    for (int channel = 0; channel < 3; ++channel)
      to[channel] = static_cast<std::uint8_t>(std::min(255, from[channel] + white));
  }
}

class JpegRows final : public RowSource {
 public:
  explicit JpegRows(Bytes bytes) : reader_(bytes) {}

  ImageResult<void> start(DecodeScale scale) {
    if (auto read = reader_.readHeader(); !read) return read;
    return reader_.start(scale, reader_.isCmyk() ? JCS_CMYK : JCS_EXT_RGBA);
  }
  std::size_t width() const override { return reader_.info().output_width; }
  std::size_t height() const override { return reader_.info().output_height; }
  bool isOpaque() const override { return true; }

  ImageResult<void> read(std::uint32_t* rows, std::size_t count) override {
    auto read = reader_.readRows(reinterpret_cast<std::uint8_t*>(rows), count);
    if (read && reader_.isCmyk()) cmykToRgb(rows, count * width(), reader_.info().saw_Adobe_marker);
    return read;
  }
  ImageResult<void> finish() override { return reader_.finish(); }

 private:
  JpegReader reader_;
};

ImageResult<void> writeRows(JpegWriter& writer, const Bitmap& bitmap) {
  std::vector<std::uint8_t> composed;
  if (!bitmap.isKnownOpaque()) composed.resize(bitmap.strideBytes());
  for (std::size_t y = 0; y < bitmap.height(); ++y) {
    const std::uint8_t* row = bitmap.bytesOfRow(y);
    if (!composed.empty()) {
      composeOverWhite(row, bitmap.width(), composed.data());
      row = composed.data();
    }
    if (auto written = writer.writeRow(row); !written) return written;
  }
  return {};
}

}  // namespace

ImageResult<PictureHeader> readJpegHeader(Bytes bytes) {
  JpegReader reader(bytes);
  if (const auto read = reader.readHeader(JpegReader::Markers::keep); !read) return read.failure();
  const jpeg_decompress_struct& info = reader.info();
  PictureHeader header;
  header.width = info.image_width;
  header.height = info.image_height;
  header.bitsPerChannel = info.data_precision;
  if (info.jpeg_color_space == JCS_GRAYSCALE) header.colorModel = ColorModel::gray;
  if (reader.isCmyk()) header.colorModel = ColorModel::cmyk;
  if (info.saw_JFIF_marker && info.density_unit != 0) {
    constexpr double centimetresPerInch = 2.54;
    const double factor = info.density_unit == 2 ? centimetresPerInch : 1.0;
    header.dpiX = info.X_density * factor;
    header.dpiY = info.Y_density * factor;
  }
  for (auto* marker = info.marker_list; marker; marker = marker->next) {
    const std::size_t prefix = jpegExifMarker.size();
    if (marker->marker == JPEG_APP0 + 1 && header.exif.empty() && marker->data_length > prefix &&
        std::memcmp(marker->data, jpegExifMarker.data(), prefix) == 0)
      header.exif.assign(marker->data + prefix, marker->data + marker->data_length);
  }
  header.profile = reader.readProfile();
  return header;
}

int chromaSubsamplingFor(int quality) {
  return quality < 100 ? 2 : 1;
}

bool fitsIntoJpeg(std::size_t width, std::size_t height) {
  return width <= JPEG_MAX_DIMENSION && height <= JPEG_MAX_DIMENSION;
}

bool jpegCanHold(Bytes bytes, const PictureHeader& header) {
  // No Huffman-coded JPEG holds more: a flat block of 64 pixels takes at least a bit.
  constexpr std::uint64_t maxPixelsPerByte = 1024;
  return std::uint64_t{header.width} * header.height <= bytes.size() * maxPixelsPerByte;
}

DecodeScale jpegDecodeScale(double storedPerResult) {
  // At 1/2 and 1/4 the library averages pixels, which aliases more than 3/8 does; 1/2 is therefore
  // never used.
  constexpr std::pair<unsigned, double> scales[] = {
      {1, neededLumaSamples}, {2, 3.2}, {3, neededLumaSamples}};
  for (const auto& [numerator, needed] : scales)
    if (storedPerResult * numerator / DecodeScale::denominator >= needed) return {numerator};
  return {};
}

ImageResult<std::unique_ptr<RowSource>> openJpegRows(Bytes bytes, const PictureHeader& header,
                                                     DecodeScale scale, const ThreadBudget&) {
  if (!jpegCanHold(bytes, header)) return Failure(ImageError::corrupt);
  auto rows = std::make_unique<JpegRows>(bytes);
  if (const auto started = rows->start(scale); !started) return started.failure();
  return rows;
}

ImageResult<EncodedBytes> encodeJpegBitmap(const Bitmap& bitmap, int quality, Bytes exif) {
  if (!fitsIntoJpeg(bitmap.width(), bitmap.height())) return Failure(ImageError::unsupported);
  JpegWriter writer;
  const auto started = writer.start(JpegInput::pixels, bitmap.width(), bitmap.height(), quality,
                                    {exif, bitmap.profile().get()});
  if (!started) return started.failure();
  if (const auto written = writeRows(writer, bitmap); !written) return written.failure();
  return writer.finish();
}

}  // namespace vecamera::device::imaging
