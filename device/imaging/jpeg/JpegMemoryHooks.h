#pragma once

// jpeglib.h needs those before it.
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include <array>

namespace vecamera::device::imaging {

// libjpeg hands out and takes in blocks of coefficients only as arrays of all blocks of a picture:
// hundreds of megabytes for a large one, written once and read once. Its memory manager is a table
// of functions that it calls for these arrays. Some of them are exchanged here, and nowhere else,
// so that a few rows of blocks are enough. This relies on the order in which libjpeg-turbo calls
// them.

/// Rows of blocks of a picture in one scan, as they are decoded.
class JpegReadHooks {
 public:
  /// Before `jpeg_start_decompress`, which has to be asked for a buffered image. The object
  /// outlives the decompression. `onLayout` is called with the context after the library has laid
  /// out the components, and before it looks at their scaled sizes: it decodes faster where only
  /// the mean of a block is needed.
  void install(jpeg_decompress_struct& info, void (*onLayout)(void* context), void* context);

  /// How many components have blocks, all of them after a start that succeeded.
  std::size_t count() const { return count_; }
  /// The blocks of the component's group of rows that was decoded last. The library stores no
  /// zeros, so they are to be cleared before the next.
  JBLOCKARRAY blocks(std::size_t component) const { return blocks_[component]; }

 private:
  static void realizeArrays(j_common_ptr info);
  static jvirt_barray_ptr requestArray(j_common_ptr info, int pool, boolean zeroed,
                                       JDIMENSION width, JDIMENSION height, JDIMENSION rows);
  static JBLOCKARRAY accessArray(j_common_ptr info, jvirt_barray_ptr array, JDIMENSION first,
                                 JDIMENSION count, boolean writable);

  void (*onLayout_)(void*) = nullptr;
  void* context_ = nullptr;
  void (*realizeOfLibrary_)(j_common_ptr) = nullptr;
  std::array<JBLOCKARRAY, MAX_COMPONENTS> blocks_{};
  std::size_t count_ = 0;
};

/// Gives libjpeg the blocks of the rows `first` to `first + count` of the component that `array`
/// stands for. Called from C code, with the context in the client data.
using JpegBlockRows = JBLOCKARRAY (*)(j_common_ptr info, jvirt_barray_ptr array, JDIMENSION first,
                                      JDIMENSION count, boolean writable);
/// Makes `jpeg_write_coefficients` take its blocks from `rows`.
void installBlockRows(jpeg_compress_struct& info, JpegBlockRows rows, void* context);

}  // namespace vecamera::device::imaging
