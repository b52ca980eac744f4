#include "device/imaging/jpeg/JpegStreams.h"

#include <jerror.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "device/imaging/jpeg/JpegCodec.h"

namespace vecamera::device::imaging {
namespace {

constexpr int app1 = JPEG_APP0 + 1;
constexpr int app2 = JPEG_APP0 + 2;

/// Real pictures have about ten scans; a hostile one has thousands, each costing a pass over the
/// whole picture.
constexpr int maxScans = 100;
/// For the coefficients of progressive pictures, which the library keeps whole.
constexpr long maxDecoderBytes = 1L << 30;

JpegErrors& errorsOf(j_common_ptr info) {
  return *reinterpret_cast<JpegErrors*>(info->err);
}

[[noreturn]] void errorExit(j_common_ptr info) {
  std::longjmp(errorsOf(info).jump, 1);
}

void emitMessage(j_common_ptr info, int level) {
  if (level < 0 && info->err->msg_code == JWRN_HIT_MARKER) errorsOf(info).dataEndedEarly = true;
}

void outputMessage(j_common_ptr) {}

void install(JpegErrors& errors, jpeg_error_mgr*& slot) {
  slot = jpeg_std_error(&errors.manager);
  errors.manager.error_exit = errorExit;
  errors.manager.emit_message = emitMessage;
  errors.manager.output_message = outputMessage;
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

}  // namespace

JpegReader::JpegReader(Bytes bytes) {
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

JpegReader::~JpegReader() {
  if (created_) jpeg_destroy_decompress(&info_);
}

bool JpegReader::isCmyk() const {
  return info_.jpeg_color_space == JCS_CMYK || info_.jpeg_color_space == JCS_YCCK;
}

bool JpegReader::readHeader(Markers markers) {
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

JOCTET* JpegReader::readProfile(unsigned& size) {
  JOCTET* profile = nullptr;
  if (setjmp(error_.jump)) return nullptr;
  return jpeg_read_icc_profile(&info_, &profile, &size) ? profile : nullptr;
}

bool JpegReader::start(unsigned eighths, J_COLOR_SPACE colors) {
  if (setjmp(error_.jump)) return false;
  info_.scale_num = eighths;
  info_.scale_denom = DCTSIZE;
  info_.out_color_space = colors;
  info_.dct_method = JDCT_ISLOW;
  return jpeg_start_decompress(&info_);
}

std::size_t JpegReader::readRows(std::uint8_t* to, std::size_t count) {
  if (setjmp(error_.jump)) return 0;
  std::size_t done = 0;
  while (done < count && info_.output_scanline < info_.output_height) {
    JSAMPROW row = to + done * info_.output_width * static_cast<unsigned>(info_.output_components);
    done += jpeg_read_scanlines(&info_, &row, 1);
  }
  return done;
}

// Later versions of the interface name the scaled sizes of blocks otherwise.
static_assert(JPEG_LIB_VERSION < 70);

void JpegReader::scaleComponents() {
  for (std::size_t i = 0; i < static_cast<std::size_t>(info_.num_components); ++i) {
    jpeg_component_info& component = info_.comp_info[i];
    component.DCT_scaled_size = static_cast<int>(samples_[i]);
    const auto samples = [&](JDIMENSION pixels, int factor, int most) {
      const auto groupPixels = static_cast<unsigned long>(most * DCTSIZE);
      const auto groupSamples = static_cast<unsigned long>(factor * component.DCT_scaled_size);
      return static_cast<JDIMENSION>((pixels * groupSamples + groupPixels - 1) / groupPixels);
    };
    component.downsampled_width =
        samples(info_.image_width, component.h_samp_factor, info_.max_h_samp_factor);
    component.downsampled_height =
        samples(info_.image_height, component.v_samp_factor, info_.max_v_samp_factor);
  }
}

/// The library has laid the components out, and has chosen nothing by their sizes yet: those of
/// which only means are read it decodes faster.
void JpegReader::scaleBeforeArrays(j_common_ptr common) {
  auto& reader = *static_cast<JpegReader*>(common->client_data);
  reader.scaleComponents();
  reader.realizeArrays_(common);
}

bool JpegReader::startPlanes() {
  if (setjmp(error_.jump)) return false;
  info_.out_color_space = info_.jpeg_color_space;
  info_.raw_data_out = TRUE;
  info_.dct_method = JDCT_ISLOW;
  return jpeg_start_decompress(&info_);
}

bool JpegReader::startScaledPlanes(const BlockSamples& samples) {
  if (setjmp(error_.jump)) return false;
  samples_ = samples;
  if (!startBlocks()) return false;
  for (std::size_t i = 0; i < static_cast<std::size_t>(info_.num_components); ++i) {
    // None for a component that no scan holds.
    const JQUANT_TBL* const steps = info_.comp_info[i].quant_table;
    scalers_[i] = ScaledIdct(samples[i], steps ? steps->quantval : nullptr);
  }
  scalesBlocks_ = true;
  return true;
}

bool JpegReader::startBlocks() {
  if (jpeg_has_multiple_scans(&info_)) {
    allBlocks_ = jpeg_read_coefficients(&info_);
    scaleComponents();
    return allBlocks_;
  }
  info_.client_data = this;
  realizeArrays_ = info_.mem->realize_virt_arrays;
  info_.mem->realize_virt_arrays = scaleBeforeArrays;
  info_.buffered_image = TRUE;
  info_.mem->request_virt_barray = rowsOfBlocks;
  info_.mem->access_virt_barray = sameRowsOfBlocks;
  return jpeg_start_decompress(&info_) &&
         blockArrays_ == static_cast<std::size_t>(info_.num_components);
}

/// The library would keep all blocks of the picture and touch them one group of rows after the
/// other. Here each group takes the place of the one before.
jvirt_barray_ptr JpegReader::rowsOfBlocks(j_common_ptr common, int pool, boolean, JDIMENSION width,
                                          JDIMENSION, JDIMENSION mostRows) {
  auto& reader = *static_cast<JpegReader*>(common->client_data);
  const JBLOCKARRAY rows = common->mem->alloc_barray(common, pool, width, mostRows);
  for (JDIMENSION y = 0; y < mostRows; ++y) std::memset(rows[y], 0, width * sizeof(JBLOCK));
  reader.blocks_[reader.blockArrays_++] = rows;
  return reinterpret_cast<jvirt_barray_ptr>(rows);
}

JBLOCKARRAY JpegReader::sameRowsOfBlocks(j_common_ptr, jvirt_barray_ptr blocks, JDIMENSION,
                                         JDIMENSION, boolean) {
  return reinterpret_cast<JBLOCKARRAY>(blocks);
}

bool JpegReader::readScaledRows(JSAMPIMAGE rows) {
  if (!allBlocks_) {
    const int read = jpeg_consume_input(&info_);
    if (read != JPEG_ROW_COMPLETED && read != JPEG_SCAN_COMPLETED) return false;
  }
  auto* const common = reinterpret_cast<j_common_ptr>(&info_);
  for (std::size_t i = 0; i < static_cast<std::size_t>(info_.num_components); ++i) {
    const jpeg_component_info& component = info_.comp_info[i];
    const auto count = static_cast<JDIMENSION>(component.v_samp_factor);
    const JBLOCKARRAY blocks =
        allBlocks_
            ? info_.mem->access_virt_barray(common, allBlocks_[i], readRows_ * count, count, FALSE)
            : blocks_[i];
    // The next row is decoded into the same blocks, and the library stores no zeros.
    for (JDIMENSION y = 0; y < count; ++y)
      scalers_[i].scale(blocks[y], component.width_in_blocks, !allBlocks_,
                        rows[i] + y * samples_[i]);
  }
  ++readRows_;
  return true;
}

bool JpegReader::readPlaneRows(JSAMPIMAGE rows) {
  if (setjmp(error_.jump)) return false;
  if (scalesBlocks_) return readScaledRows(rows);
  const auto count = static_cast<JDIMENSION>(info_.max_v_samp_factor * DCTSIZE);
  return jpeg_read_raw_data(&info_, rows, count) == count;
}

bool JpegReader::lackedMemory() const {
  // The library would go on in files on disk, which it was built without.
  return error_.manager.msg_code == JERR_OUT_OF_MEMORY ||
         error_.manager.msg_code == JERR_NO_BACKING_STORE;
}

jvirt_barray_ptr* JpegReader::readCoefficients() {
  if (setjmp(error_.jump)) return nullptr;
  return jpeg_read_coefficients(&info_);
}

bool JpegReader::finish() {
  if (setjmp(error_.jump)) return false;
  return jpeg_finish_decompress(&info_) && !error_.dataEndedEarly;
}

namespace {

JpegOutput& outputOf(j_compress_ptr info) {
  return *reinterpret_cast<JpegOutput*>(info->dest);
}

/// More room for the output, behind what it holds.
void growOutput(j_compress_ptr info, std::size_t held) {
  constexpr std::size_t first = 1U << 16;
  JpegOutput& output = outputOf(info);
  const std::size_t capacity = std::max(first, output.capacity * 2);
  auto* const bytes = static_cast<unsigned char*>(std::realloc(output.bytes, capacity));
  if (!bytes) ERREXIT1(info, JERR_OUT_OF_MEMORY, 0);
  output.bytes = bytes;
  output.capacity = capacity;
  output.manager.next_output_byte = bytes + held;
  output.manager.free_in_buffer = capacity - held;
}

void startOutput(j_compress_ptr info) {
  growOutput(info, 0);
}

boolean emptyOutput(j_compress_ptr info) {
  // All of it is full, whatever the pointers say.
  growOutput(info, outputOf(info).capacity);
  return TRUE;
}

void endOutput(j_compress_ptr info) {
  JpegOutput& output = outputOf(info);
  output.size = output.capacity - output.manager.free_in_buffer;
}

}  // namespace

JpegWriter::JpegWriter() {
  install(error_, info_.err);
}

JpegWriter::~JpegWriter() {
  if (created_) jpeg_destroy_compress(&info_);
  std::free(output_.bytes);
}

void JpegWriter::create() {
  jpeg_create_compress(&info_);
  created_ = true;
  output_.manager.init_destination = startOutput;
  output_.manager.empty_output_buffer = emptyOutput;
  output_.manager.term_destination = endOutput;
  info_.dest = &output_.manager;
}

void JpegWriter::describe(const JpegLayout& layout) {
  info_.image_width = static_cast<JDIMENSION>(layout.width);
  info_.image_height = static_cast<JDIMENSION>(layout.height);
  jpeg_set_defaults(&info_);
  if (layout.gray) jpeg_set_colorspace(&info_, JCS_GRAYSCALE);
  jpeg_set_quality(&info_, layout.quality, TRUE);
  info_.comp_info[0].h_samp_factor = layout.gray ? 1 : layout.chromaStep;
  info_.comp_info[0].v_samp_factor = layout.gray ? 1 : layout.chromaStep;
}

bool JpegWriter::start(const JpegLayout& layout) {
  if (setjmp(error_.jump)) return false;
  create();
  info_.input_components = 4;
  info_.in_color_space = JCS_EXT_RGBX;
  describe(layout);
  jpeg_start_compress(&info_, TRUE);
  return true;
}

bool JpegWriter::writeRow(const std::uint8_t* bytes) {
  if (setjmp(error_.jump)) return false;
  JSAMPROW row = const_cast<JSAMPROW>(bytes);
  return jpeg_write_scanlines(&info_, &row, 1) == 1;
}

bool JpegWriter::startPlanes(const JpegLayout& layout) {
  if (setjmp(error_.jump)) return false;
  create();
  info_.input_components = layout.gray ? 1 : 3;
  info_.in_color_space = layout.gray ? JCS_GRAYSCALE : JCS_YCbCr;
  describe(layout);
  info_.raw_data_in = TRUE;
  jpeg_start_compress(&info_, TRUE);
  return true;
}

bool JpegWriter::writePlaneRows(JSAMPIMAGE rows, unsigned rowCount) {
  if (setjmp(error_.jump)) return false;
  return jpeg_write_raw_data(&info_, rows, rowCount) == rowCount;
}

void JpegWriter::describeTurned(const jpeg_decompress_struct& from, bool swapsAxes) {
  jpeg_copy_critical_parameters(const_cast<j_decompress_ptr>(&from), &info_);
  if (!swapsAxes) return;
  std::swap(info_.image_width, info_.image_height);
  for (int i = 0; i < info_.num_components; ++i)
    std::swap(info_.comp_info[i].h_samp_factor, info_.comp_info[i].v_samp_factor);
  for (JQUANT_TBL* table : info_.quant_tbl_ptrs) {
    if (!table) continue;
    for (int y = 0; y < DCTSIZE; ++y)
      for (int x = 0; x < y; ++x)
        std::swap(table->quantval[y * DCTSIZE + x], table->quantval[x * DCTSIZE + y]);
  }
}

bool JpegWriter::startCoefficients(const JpegReader& reader, jvirt_barray_ptr* coefficients,
                                   bool swapsAxes, BlockRows rows, void* context) {
  if (setjmp(error_.jump)) return false;
  create();
  describeTurned(reader.info(), swapsAxes);
  info_.client_data = context;
  info_.mem->access_virt_barray = rows;
  jpeg_write_coefficients(&info_, coefficients);
  return true;
}

bool JpegWriter::writeExif(const std::uint8_t* block, std::size_t size) {
  if (setjmp(error_.jump)) return false;
  jpeg_write_marker(&info_, app1, block, static_cast<unsigned>(size));
  return true;
}

bool JpegWriter::writeProfile(const std::vector<std::uint8_t>& profile) {
  if (setjmp(error_.jump)) return false;
  jpeg_write_icc_profile(&info_, profile.data(), static_cast<unsigned>(profile.size()));
  return true;
}

bool JpegWriter::writeMetadata(Bytes exif, const std::vector<std::uint8_t>* profile) {
  if (!exif.empty()) {
    std::vector<std::uint8_t> block(jpegExifMarker.begin(), jpegExifMarker.end());
    block.insert(block.end(), exif.begin(), exif.end());
    if (!writeExif(block.data(), block.size())) return false;
  }
  return !profile || profile->empty() || writeProfile(*profile);
}

bool JpegWriter::finish() {
  if (setjmp(error_.jump)) return false;
  jpeg_finish_compress(&info_);
  return true;
}

}  // namespace vecamera::device::imaging
