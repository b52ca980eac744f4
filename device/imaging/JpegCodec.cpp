#include "device/imaging/JpegCodec.h"

// jpeglib.h needs the two before it.
#include <csetjmp>
#include <cstddef>
#include <cstdio>

#include <jerror.h>
#include <jpeglib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace vecamera::device {
namespace {

constexpr std::string_view exifMarker("Exif\0\0", 6);
constexpr int app1 = JPEG_APP0 + 1;
constexpr int app2 = JPEG_APP0 + 2;
constexpr std::size_t stripRows = 16;

/// Real pictures have about ten scans; a hostile one has thousands, each costing a pass over the
/// whole picture.
constexpr int maxScans = 100;
/// For the coefficients of progressive pictures, which the library keeps whole.
constexpr long maxDecoderBytes = 1L << 30;
/// No Huffman-coded JPEG holds more: a flat block of 64 pixels takes at least a bit.
constexpr std::uint64_t maxPixelsPerByte = 1024;

/// Carries libjpeg's error exit back to the call that met it. libjpeg calls it from C code, so it
/// jumps; every function that sets the jump keeps no object with a destructor.
struct ErrorState {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
  bool dataEndedEarly = false;
};

ErrorState& stateOf(j_common_ptr info) {
  return *reinterpret_cast<ErrorState*>(info->err);
}

[[noreturn]] void errorExit(j_common_ptr info) {
  std::longjmp(stateOf(info).jump, 1);
}

void emitMessage(j_common_ptr info, int level) {
  if (level < 0 && info->err->msg_code == JWRN_HIT_MARKER) stateOf(info).dataEndedEarly = true;
}

void outputMessage(j_common_ptr) {}

void install(ErrorState& state, jpeg_error_mgr*& slot) {
  slot = jpeg_std_error(&state.manager);
  state.manager.error_exit = errorExit;
  state.manager.emit_message = emitMessage;
  state.manager.output_message = outputMessage;
}

boolean failAtEnd(j_decompress_ptr info) {
  ERREXIT(info, JERR_INPUT_EOF);
  return FALSE;
}

void skip(j_decompress_ptr info, long count) {
  if (count <= 0) return;
  if (static_cast<std::size_t>(count) > info->src->bytes_in_buffer) ERREXIT(info, JERR_INPUT_EOF);
  info->src->next_input_byte += count;
  info->src->bytes_in_buffer -= static_cast<std::size_t>(count);
}

void nothingToDo(j_decompress_ptr) {}

void limitScans(j_common_ptr info) {
  if (reinterpret_cast<j_decompress_ptr>(info)->input_scan_number > maxScans)
    ERREXIT(info, JERR_BAD_PROGRESSION);
}

class Reader {
 public:
  explicit Reader(Bytes bytes) {
    install(error_, info_.err);
    source_.next_input_byte = bytes.data();
    source_.bytes_in_buffer = bytes.size();
    source_.init_source = nothingToDo;
    source_.fill_input_buffer = failAtEnd;
    source_.skip_input_data = skip;
    source_.resync_to_restart = jpeg_resync_to_restart;
    source_.term_source = nothingToDo;
    progress_.progress_monitor = limitScans;
  }
  ~Reader() {
    if (created_) jpeg_destroy_decompress(&info_);
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  const jpeg_decompress_struct& info() const { return info_; }

  enum class Markers { ignore, keep };
  bool readHeader(Markers markers) {
    if (setjmp(error_.jump)) return false;
    jpeg_create_decompress(&info_);
    created_ = true;
    info_.src = &source_;
    info_.progress = &progress_;
    info_.mem->max_memory_to_use = maxDecoderBytes;
    if (markers == Markers::keep) {
      jpeg_save_markers(&info_, app1, 0xFFFF);
      jpeg_save_markers(&info_, app2, 0xFFFF);
    }
    jpeg_read_header(&info_, TRUE);
    return !info_.arith_code && info_.jpeg_color_space != JCS_UNKNOWN;
  }

  /// The profile, in memory that the caller frees, or null.
  JOCTET* readProfile(unsigned& size) {
    JOCTET* profile = nullptr;
    if (setjmp(error_.jump)) return nullptr;
    return jpeg_read_icc_profile(&info_, &profile, &size) ? profile : nullptr;
  }

  bool start(unsigned denominator) {
    if (setjmp(error_.jump)) return false;
    info_.scale_num = 1;
    info_.scale_denom = denominator;
    info_.out_color_space = isCmyk() ? JCS_CMYK : JCS_EXT_RGBA;
    info_.dct_method = JDCT_ISLOW;
    return jpeg_start_decompress(&info_);
  }

  /// Reads up to `count` rows into `to`; 0 means failure.
  std::size_t readRows(std::uint32_t* to, std::size_t count) {
    if (setjmp(error_.jump)) return 0;
    std::size_t done = 0;
    while (done < count && info_.output_scanline < info_.output_height) {
      JSAMPROW row = reinterpret_cast<JSAMPROW>(to + done * info_.output_width);
      done += jpeg_read_scanlines(&info_, &row, 1);
    }
    return done;
  }

  /// True where all of the picture was there.
  bool finish() {
    if (setjmp(error_.jump)) return false;
    return jpeg_finish_decompress(&info_) && !error_.dataEndedEarly;
  }

  bool isCmyk() const {
    return info_.jpeg_color_space == JCS_CMYK || info_.jpeg_color_space == JCS_YCCK;
  }

 private:
  jpeg_decompress_struct info_{};
  ErrorState error_{};
  jpeg_source_mgr source_{};
  jpeg_progress_mgr progress_{};
  bool created_ = false;
};

/// Adobe's writers store the four inks inverted, and practically every CMYK JPEG is one of theirs.
void cmykToRgb(std::uint32_t* pixels, std::size_t count, bool inverted) {
  auto* bytes = reinterpret_cast<std::uint8_t*>(pixels);
  for (std::size_t i = 0; i < count; ++i, bytes += 4) {
    const unsigned black = inverted ? bytes[3] : 255 - bytes[3];
    for (int channel = 0; channel < 3; ++channel) {
      const unsigned ink = inverted ? bytes[channel] : 255 - bytes[channel];
      bytes[channel] = multiplied(ink, black);
    }
    bytes[3] = 255;
  }
}

unsigned coveringDenominator(const PictureHeader& header, double coverWidth, double coverHeight) {
  constexpr double tolerance = 1e-3;
  for (const unsigned denominator : {8u, 4u, 2u}) {
    if (header.width + tolerance >= coverWidth * denominator &&
        header.height + tolerance >= coverHeight * denominator)
      return denominator;
  }
  return 1;
}

void readDensity(const jpeg_decompress_struct& info, PictureHeader& header) {
  constexpr double centimetresPerInch = 2.54;
  if (!info.saw_JFIF_marker || info.density_unit == 0) return;
  const double factor = info.density_unit == 2 ? centimetresPerInch : 1.0;
  header.dpiX = info.X_density * factor;
  header.dpiY = info.Y_density * factor;
}

class Writer {
 public:
  Writer() { install(error_, info_.err); }
  ~Writer() {
    if (created_) jpeg_destroy_compress(&info_);
    std::free(buffer_);
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  bool start(std::size_t width, std::size_t height, int quality) {
    if (setjmp(error_.jump)) return false;
    jpeg_create_compress(&info_);
    created_ = true;
    jpeg_mem_dest(&info_, &buffer_, &size_);
    info_.image_width = static_cast<JDIMENSION>(width);
    info_.image_height = static_cast<JDIMENSION>(height);
    info_.input_components = 4;
    info_.in_color_space = JCS_EXT_RGBX;
    jpeg_set_defaults(&info_);
    jpeg_set_quality(&info_, quality, TRUE);
    const int chromaStep = quality < 100 ? 2 : 1;
    info_.comp_info[0].h_samp_factor = chromaStep;
    info_.comp_info[0].v_samp_factor = chromaStep;
    jpeg_start_compress(&info_, TRUE);
    return true;
  }

  bool writeExif(const std::uint8_t* block, std::size_t size) {
    if (setjmp(error_.jump)) return false;
    jpeg_write_marker(&info_, app1, block, static_cast<unsigned>(size));
    return true;
  }

  bool writeProfile(const std::vector<std::uint8_t>& profile) {
    if (setjmp(error_.jump)) return false;
    jpeg_write_icc_profile(&info_, profile.data(), static_cast<unsigned>(profile.size()));
    return true;
  }

  bool writeRow(const std::uint8_t* bytes) {
    if (setjmp(error_.jump)) return false;
    JSAMPROW row = const_cast<JSAMPROW>(bytes);
    return jpeg_write_scanlines(&info_, &row, 1) == 1;
  }

  bool finish() {
    if (setjmp(error_.jump)) return false;
    jpeg_finish_compress(&info_);
    return true;
  }

  Bytes written() const { return {buffer_, size_}; }

 private:
  jpeg_compress_struct info_{};
  ErrorState error_{};
  unsigned char* buffer_ = nullptr;
  unsigned long size_ = 0;
  bool created_ = false;
};

void composeOverWhite(const std::uint8_t* from, std::size_t width, std::uint8_t* to) {
  for (std::size_t x = 0; x < width; ++x, from += 4, to += 4) {
    const auto white = static_cast<std::uint8_t>(255 - from[3]);
    for (int channel = 0; channel < 3; ++channel)
      to[channel] = static_cast<std::uint8_t>(std::min(255, from[channel] + white));
  }
}

bool writeRows(Writer& writer, const Bitmap& bitmap) {
  std::vector<std::uint8_t> composed;
  if (!bitmap.knownOpaque()) composed.resize(bitmap.strideBytes());
  for (std::size_t y = 0; y < bitmap.height(); ++y) {
    const std::uint8_t* row = bitmap.bytesOfRow(y);
    if (!composed.empty()) {
      composeOverWhite(row, bitmap.width(), composed.data());
      row = composed.data();
    }
    if (!writer.writeRow(row)) return false;
  }
  return true;
}

}  // namespace

std::optional<PictureHeader> readJpegHeader(Bytes bytes) {
  Reader reader(bytes);
  if (!reader.readHeader(Reader::Markers::keep)) return std::nullopt;
  const jpeg_decompress_struct& info = reader.info();
  PictureHeader header;
  header.width = info.image_width;
  header.height = info.image_height;
  header.bitsPerChannel = info.data_precision;
  if (info.jpeg_color_space == JCS_GRAYSCALE) header.colorModel = ColorModel::gray;
  if (reader.isCmyk()) header.colorModel = ColorModel::cmyk;
  readDensity(info, header);
  for (auto* marker = info.marker_list; marker; marker = marker->next) {
    const std::size_t prefix = exifMarker.size();
    if (marker->marker == app1 && header.exif.empty() && marker->data_length > prefix &&
        std::memcmp(marker->data, exifMarker.data(), prefix) == 0)
      header.exif.assign(marker->data + prefix, marker->data + marker->data_length);
  }
  unsigned profileSize = 0;
  if (JOCTET* profile = reader.readProfile(profileSize)) {
    header.profile.assign(profile, profile + profileSize);
    std::free(profile);
  }
  return header;
}

std::optional<DecodedPicture> decodeJpeg(Bytes bytes, const PictureHeader& header, const Turn& turn,
                                         double coverWidth, double coverHeight) {
  if (std::uint64_t{header.width} * header.height > bytes.size() * maxPixelsPerByte)
    return std::nullopt;
  const unsigned denominator = coveringDenominator(header, coverWidth, coverHeight);
  Reader reader(bytes);
  if (!reader.readHeader(Reader::Markers::ignore) || !reader.start(denominator))
    return std::nullopt;
  const std::size_t width = reader.info().output_width;
  const std::size_t height = reader.info().output_height;
  auto bitmap =
      Bitmap::uninitialized(turn.swapsAxes ? height : width, turn.swapsAxes ? width : height);
  if (!bitmap) return std::nullopt;
  std::vector<std::uint32_t> strip(width * stripRows);
  for (std::size_t y = 0; y < height;) {
    const std::size_t count = reader.readRows(strip.data(), stripRows);
    if (count == 0) return std::nullopt;
    if (reader.isCmyk()) cmykToRgb(strip.data(), count * width, reader.info().saw_Adobe_marker);
    placeTurned(strip.data(), width, height, y, count, turn, *bitmap);
    y += count;
  }
  if (!reader.finish()) return std::nullopt;
  bitmap->setKnownOpaque(true);
  return DecodedPicture{std::move(*bitmap), static_cast<int>(denominator)};
}

std::optional<std::vector<std::uint8_t>> encodeJpeg(const Bitmap& bitmap, int quality, Bytes exif) {
  if (bitmap.width() > JPEG_MAX_DIMENSION || bitmap.height() > JPEG_MAX_DIMENSION)
    return std::nullopt;
  Writer writer;
  if (!writer.start(bitmap.width(), bitmap.height(), quality)) return std::nullopt;
  if (!exif.empty()) {
    std::vector<std::uint8_t> block(exifMarker.begin(), exifMarker.end());
    block.insert(block.end(), exif.begin(), exif.end());
    if (!writer.writeExif(block.data(), block.size())) return std::nullopt;
  }
  if (bitmap.profile() && !writer.writeProfile(*bitmap.profile())) return std::nullopt;
  if (!writeRows(writer, bitmap) || !writer.finish()) return std::nullopt;
  const Bytes written = writer.written();
  return std::vector<std::uint8_t>(written.begin(), written.end());
}

}  // namespace vecamera::device
