#pragma once

#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/base/RowSource.h"
#include "device/imaging/jpeg/JpegErrors.h"

namespace vecamera::device::imaging {

/// libjpeg-turbo's decompressor with an owner.
class JpegReader {
 public:
  /// The bytes outlive the reader.
  explicit JpegReader(Bytes bytes);
  ~JpegReader();
  JpegReader(const JpegReader&) = delete;
  JpegReader& operator=(const JpegReader&) = delete;

  jpeg_decompress_struct& info() { return info_; }
  const jpeg_decompress_struct& info() const { return info_; }
  JpegErrors& errors() { return errors_; }
  /// The library's last error.
  Failure<ImageError> failure() const { return errors_.failure(ImageError::corrupt); }
  bool isCmyk() const;

  enum class Markers { ignore, keep };
  ImageResult<void> readHeader(Markers markers = Markers::ignore);
  /// The ICC profile; empty where there is none, or a damaged one.
  EncodedBytes readProfile();

  /// Starts to read pixels in that colour space.
  ImageResult<void> start(DecodeScale scale, J_COLOR_SPACE colors);
  /// Reads the next `count` rows, of which there are enough, into `to`, one behind the other.
  ImageResult<void> readRows(std::uint8_t* to, std::size_t count);

  /// Starts to read the components as they are stored.
  ImageResult<void> startPlanes();
  /// Reads the rows of one row of blocks, `info().total_iMCU_rows` in all, of every component.
  ImageResult<void> readPlaneRows(JSAMPIMAGE rows);

  /// Reads all coefficients.
  ImageResult<jvirt_barray_ptr*> readCoefficients();

  /// `corrupt` where the bytes ended early.
  ImageResult<void> finish();

 private:
  jpeg_decompress_struct info_{};
  JpegErrors errors_{};
  jpeg_source_mgr source_{};
  jpeg_progress_mgr progress_{};
};

}  // namespace vecamera::device::imaging
