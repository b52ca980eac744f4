#include "device/imaging/jpeg/JpegWriter.h"

#include <jerror.h>

#include <algorithm>
#include <cstdlib>
#include <tuple>
#include <utility>

#include "device/imaging/jpeg/JpegCodec.h"

namespace vecamera::device::imaging {
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

/// Exchanges the axes of the picture that was described.
void swapAxes(jpeg_compress_struct& info) {
  std::swap(info.image_width, info.image_height);
  for (int i = 0; i < info.num_components; ++i)
    std::swap(info.comp_info[i].h_samp_factor, info.comp_info[i].v_samp_factor);
  for (JQUANT_TBL* table : info.quant_tbl_ptrs) {
    if (!table) continue;
    for (int y = 0; y < DCTSIZE; ++y)
      for (int x = 0; x < y; ++x)
        std::swap(table->quantval[y * DCTSIZE + x], table->quantval[x * DCTSIZE + y]);
  }
}

}  // namespace

JpegWriter::JpegWriter() {
  errors_.install(info_.err);
}

JpegWriter::~JpegWriter() {
  jpeg_destroy_compress(&info_);
  std::free(output_.bytes);
}

void JpegWriter::create() {
  jpeg_create_compress(&info_);
  output_.manager.init_destination = startOutput;
  output_.manager.empty_output_buffer = emptyOutput;
  output_.manager.term_destination = endOutput;
  info_.dest = &output_.manager;
}

ImageResult<void> JpegWriter::start(JpegInput input, std::size_t width, std::size_t height,
                                    int quality, const JpegMetadata& metadata) {
  if (setjmp(errors_.jump)) return failure();
  create();
  constexpr std::pair<int, J_COLOR_SPACE> components[] = {
      {4, JCS_EXT_RGBX}, {1, JCS_GRAYSCALE}, {3, JCS_YCbCr}};
  std::tie(info_.input_components, info_.in_color_space) =
      components[static_cast<std::size_t>(input)];
  info_.image_width = static_cast<JDIMENSION>(width);
  info_.image_height = static_cast<JDIMENSION>(height);
  jpeg_set_defaults(&info_);
  jpeg_set_quality(&info_, quality, TRUE);
  jpeg_component_info& luma = info_.comp_info[0];
  luma.h_samp_factor = luma.v_samp_factor =
      input == JpegInput::grayPlane ? 1 : chromaSubsamplingFor(quality);
  info_.raw_data_in = input != JpegInput::pixels;
  jpeg_start_compress(&info_, TRUE);
  writeMetadata(metadata);
  return {};
}

ImageResult<void> JpegWriter::writeRow(const std::uint8_t* bytes) {
  if (setjmp(errors_.jump)) return failure();
  JSAMPROW row = const_cast<JSAMPROW>(bytes);
  if (jpeg_write_scanlines(&info_, &row, 1) != 1) return failure();
  return {};
}

ImageResult<void> JpegWriter::writePlaneRows(JSAMPIMAGE rows, unsigned rowCount) {
  if (setjmp(errors_.jump)) return failure();
  if (jpeg_write_raw_data(&info_, rows, rowCount) != rowCount) return failure();
  return {};
}

ImageResult<void> JpegWriter::startCoefficients(const JpegReader& reader,
                                                jvirt_barray_ptr* coefficients,
                                                const Orientation& orientation, JpegBlockRows rows,
                                                void* context, const JpegMetadata& metadata) {
  if (setjmp(errors_.jump)) return failure();
  create();
  jpeg_copy_critical_parameters(const_cast<j_decompress_ptr>(&reader.info()), &info_);
  if (orientation.swapsAxes) swapAxes(info_);
  installBlockRows(info_, rows, context);
  jpeg_write_coefficients(&info_, coefficients);
  writeMetadata(metadata);
  return {};
}

void JpegWriter::writeMetadata(const JpegMetadata& metadata) {
  const auto& [exif, profile] = metadata;
  if (!exif.empty()) {
    const std::size_t size = jpegExifMarker.size() + exif.size();
    jpeg_write_m_header(&info_, JPEG_APP0 + 1, static_cast<unsigned>(size));
    for (const char byte : jpegExifMarker) jpeg_write_m_byte(&info_, byte);
    for (const std::uint8_t byte : exif) jpeg_write_m_byte(&info_, byte);
  }
  if (profile && !profile->empty())
    jpeg_write_icc_profile(&info_, profile->data(), static_cast<unsigned>(profile->size()));
}

ImageResult<EncodedBytes> JpegWriter::finish() {
  if (setjmp(errors_.jump)) return failure();
  jpeg_finish_compress(&info_);
  return EncodedBytes(output_.bytes, output_.bytes + output_.size);
}

}  // namespace vecamera::device::imaging
