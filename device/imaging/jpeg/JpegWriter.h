#pragma once

#include <cstdint>

#include "device/imaging/base/Orientation.h"
#include "device/imaging/jpeg/JpegMemoryHooks.h"
#include "device/imaging/jpeg/JpegReader.h"

namespace vecamera::device::imaging {

/// What is written before the first row.
struct JpegMetadata {
  /// An Exif block; empty for none.
  Bytes exif;
  /// An ICC profile; null or empty for none.
  const EncodedBytes* profile = nullptr;
};

/// What a writer is given: pixels of four bytes, or components as they are stored, which are luma
/// alone or luma and chroma.
enum class JpegInput { pixels, grayPlane, planes };

/// Where a writer's bytes go: a buffer that grows and has one owner, also after an error.
struct JpegOutput {
  /// First, so that libjpeg's pointer to it is one to the whole.
  jpeg_destination_mgr manager{};
  unsigned char* bytes = nullptr;
  std::size_t capacity = 0;
  std::size_t size = 0;
};

/// libjpeg-turbo's compressor with an owner.
class JpegWriter {
 public:
  JpegWriter();
  ~JpegWriter();
  JpegWriter(const JpegWriter&) = delete;
  JpegWriter& operator=(const JpegWriter&) = delete;

  const jpeg_compress_struct& info() const { return info_; }

  /// `quality` is libjpeg's, 0 to 100, and gives the chroma subsampling.
  ImageResult<void> start(JpegInput input, std::size_t width, std::size_t height, int quality,
                          const JpegMetadata& metadata);
  ImageResult<void> writeRow(const std::uint8_t* bytes);
  ImageResult<void> writePlaneRows(JSAMPIMAGE rows, unsigned rowCount);

  /// Starts to write blocks of coefficients with the quantization and the colours of the reader's
  /// picture, whose axes the orientation may exchange. `rows` is called with the context, and with
  /// one of `coefficients`, until the writing is finished.
  ImageResult<void> startCoefficients(const JpegReader& reader, jvirt_barray_ptr* coefficients,
                                      const Orientation& orientation, JpegBlockRows rows,
                                      void* context, const JpegMetadata& metadata);

  /// Ends the picture, after which nothing else may be called.
  ImageResult<EncodedBytes> finish();

 private:
  Failure<ImageError> failure() const { return errors_.failure(ImageError::unsupported); }
  // Called where the jump is set.
  void create();
  void writeMetadata(const JpegMetadata& metadata);

  jpeg_compress_struct info_{};
  JpegErrors errors_{};
  JpegOutput output_;
};

}  // namespace vecamera::device::imaging
