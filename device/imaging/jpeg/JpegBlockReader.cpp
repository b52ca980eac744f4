#include "device/imaging/jpeg/JpegBlockReader.h"

namespace vecamera::device::imaging {

// Later versions of the interface name the scaled sizes of blocks otherwise.
static_assert(JPEG_LIB_VERSION < 70);

void JpegBlockReader::scaleComponents() {
  jpeg_decompress_struct& info = reader_.info();
  for (std::size_t i = 0; i < static_cast<std::size_t>(info.num_components); ++i)
    info.comp_info[i].DCT_scaled_size = static_cast<int>(samples_[i]);
}

ImageResult<void> JpegBlockReader::start() {
  if (setjmp(reader_.errors().jump)) return reader_.failure();
  jpeg_decompress_struct& info = reader_.info();
  const auto count = static_cast<std::size_t>(info.num_components);
  if (jpeg_has_multiple_scans(&info)) {
    allBlocks_ = jpeg_read_coefficients(&info);
    if (!allBlocks_) return reader_.failure();
    scaleComponents();
  } else {
    hooks_.install(
        info, [](void* reader) { static_cast<JpegBlockReader*>(reader)->scaleComponents(); }, this);
    info.buffered_image = TRUE;
    if (!jpeg_start_decompress(&info) || hooks_.count() != count) return reader_.failure();
  }
  for (std::size_t i = 0; i < count; ++i) {
    // None for a component that no scan holds.
    const JQUANT_TBL* const table = info.comp_info[i].quant_table;
    transforms_[i] = ScaledIdct(samples_[i], table ? table->quantval : nullptr);
  }
  return {};
}

ImageResult<void> JpegBlockReader::readRows(JSAMPIMAGE rows) {
  if (setjmp(reader_.errors().jump)) return reader_.failure();
  jpeg_decompress_struct& info = reader_.info();
  if (!allBlocks_) {
    const int read = jpeg_consume_input(&info);
    if (read != JPEG_ROW_COMPLETED && read != JPEG_SCAN_COMPLETED) return reader_.failure();
  }
  auto* const common = reinterpret_cast<j_common_ptr>(&info);
  for (std::size_t i = 0; i < static_cast<std::size_t>(info.num_components); ++i) {
    const jpeg_component_info& component = info.comp_info[i];
    const auto count = static_cast<JDIMENSION>(component.v_samp_factor);
    const JBLOCKARRAY blocks =
        allBlocks_
            ? info.mem->access_virt_barray(common, allBlocks_[i], doneRows_ * count, count, FALSE)
            : hooks_.blocks(i);
    const auto after = allBlocks_ ? ScaledIdct::AfterUse::keep : ScaledIdct::AfterUse::clear;
    for (JDIMENSION y = 0; y < count; ++y)
      transforms_[i].transform(blocks[y], component.width_in_blocks, after,
                               rows[i] + y * samples_[i]);
  }
  ++doneRows_;
  return {};
}

}  // namespace vecamera::device::imaging
