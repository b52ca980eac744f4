#include "device/imaging/jpeg/JpegMemoryHooks.h"

#include <cstring>

namespace vecamera::device::imaging {

void JpegReadHooks::install(jpeg_decompress_struct& info, void (*onLayout)(void* context),
                            void* context) {
  onLayout_ = onLayout;
  context_ = context;
  info.client_data = this;
  realizeOfLibrary_ = info.mem->realize_virt_arrays;
  info.mem->realize_virt_arrays = realizeArrays;
  info.mem->request_virt_barray = requestArray;
  info.mem->access_virt_barray = accessArray;
}

void JpegReadHooks::realizeArrays(j_common_ptr info) {
  const auto& hooks = *static_cast<JpegReadHooks*>(info->client_data);
  hooks.onLayout_(hooks.context_);
  hooks.realizeOfLibrary_(info);
}

/// The library would keep all blocks and touch them one group of rows after the other. Here each
/// group takes the place of the one before.
jvirt_barray_ptr JpegReadHooks::requestArray(j_common_ptr info, int pool, boolean, JDIMENSION width,
                                             JDIMENSION, JDIMENSION rows) {
  auto& hooks = *static_cast<JpegReadHooks*>(info->client_data);
  const JBLOCKARRAY group = info->mem->alloc_barray(info, pool, width, rows);
  for (JDIMENSION y = 0; y < rows; ++y) std::memset(group[y], 0, width * sizeof(JBLOCK));
  hooks.blocks_[hooks.count_++] = group;
  return reinterpret_cast<jvirt_barray_ptr>(group);
}

JBLOCKARRAY JpegReadHooks::accessArray(j_common_ptr, jvirt_barray_ptr array, JDIMENSION, JDIMENSION,
                                       boolean) {
  return reinterpret_cast<JBLOCKARRAY>(array);
}

void installBlockRows(jpeg_compress_struct& info, JpegBlockRows rows, void* context) {
  info.client_data = context;
  info.mem->access_virt_barray = rows;
}

}  // namespace vecamera::device::imaging
