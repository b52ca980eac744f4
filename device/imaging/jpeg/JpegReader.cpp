#include "device/imaging/jpeg/JpegReader.h"

#include <jerror.h>

#include <cstdlib>
#include <memory>

namespace vecamera::device::imaging {
namespace {

/// Real pictures have about ten scans; a hostile one has thousands, each costing a pass over the
/// whole picture.
constexpr int maxScans = 100;
/// For the coefficients of progressive pictures, which the library keeps whole.
constexpr long maxDecoderBytes = 1L << 30;

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

}  // namespace

JpegReader::JpegReader(Bytes bytes) {
  errors_.install(info_.err);
  source_.next_input_byte = bytes.data();
  source_.bytes_in_buffer = bytes.size();
  source_.init_source = nothingToDo;
  source_.fill_input_buffer = failAtEnd;
  source_.skip_input_data = skip;
  source_.resync_to_restart = jpeg_resync_to_restart;
  source_.term_source = nothingToDo;
  progress_.progress_monitor = limitScans;
}

JpegReader::~JpegReader() {
  jpeg_destroy_decompress(&info_);
}

bool JpegReader::isCmyk() const {
  return info_.jpeg_color_space == JCS_CMYK || info_.jpeg_color_space == JCS_YCCK;
}

ImageResult<void> JpegReader::readHeader(Markers markers) {
  if (setjmp(errors_.jump)) return failure();
  jpeg_create_decompress(&info_);
  info_.src = &source_;
  info_.progress = &progress_;
  info_.mem->max_memory_to_use = maxDecoderBytes;
  if (markers == Markers::keep) {
    jpeg_save_markers(&info_, JPEG_APP0 + 1, 0xFFFF);
    jpeg_save_markers(&info_, JPEG_APP0 + 2, 0xFFFF);
  }
  jpeg_read_header(&info_, TRUE);
  if (info_.arith_code || info_.jpeg_color_space == JCS_UNKNOWN) return failure();
  return {};
}

EncodedBytes JpegReader::readProfile() {
  JOCTET* bytes = nullptr;
  unsigned size = 0;
  if (setjmp(errors_.jump)) return {};
  if (!jpeg_read_icc_profile(&info_, &bytes, &size)) return {};
  const std::unique_ptr<JOCTET, decltype(&std::free)> owner(bytes, std::free);
  return EncodedBytes(bytes, bytes + size);
}

ImageResult<void> JpegReader::start(DecodeScale scale, J_COLOR_SPACE colors) {
  if (setjmp(errors_.jump)) return failure();
  info_.scale_num = scale.numerator;
  info_.scale_denom = DecodeScale::denominator;
  info_.out_color_space = colors;
  info_.dct_method = JDCT_ISLOW;
  if (!jpeg_start_decompress(&info_)) return failure();
  return {};
}

ImageResult<void> JpegReader::readRows(std::uint8_t* to, std::size_t count) {
  if (setjmp(errors_.jump)) return failure();
  for (std::size_t i = 0; i < count; ++i) {
    JSAMPROW row = to + i * info_.output_width * static_cast<unsigned>(info_.output_components);
    if (jpeg_read_scanlines(&info_, &row, 1) != 1) return failure();
  }
  return {};
}

ImageResult<void> JpegReader::startPlanes() {
  info_.raw_data_out = TRUE;
  return start({}, info_.jpeg_color_space);
}

ImageResult<void> JpegReader::readPlaneRows(JSAMPIMAGE rows) {
  if (setjmp(errors_.jump)) return failure();
  const auto count = static_cast<JDIMENSION>(info_.max_v_samp_factor * DCTSIZE);
  if (jpeg_read_raw_data(&info_, rows, count) != count) return failure();
  return {};
}

ImageResult<jvirt_barray_ptr*> JpegReader::readCoefficients() {
  if (setjmp(errors_.jump)) return failure();
  if (auto* const coefficients = jpeg_read_coefficients(&info_)) return coefficients;
  return failure();
}

ImageResult<void> JpegReader::finish() {
  if (setjmp(errors_.jump)) return failure();
  if (!jpeg_finish_decompress(&info_) || errors_.dataEndedEarly) return failure();
  return {};
}

}  // namespace vecamera::device::imaging
