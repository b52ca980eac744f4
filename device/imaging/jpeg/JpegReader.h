#pragma once

#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/base/RowSource.h"
#include "device/imaging/jpeg/JpegErrors.h"

namespace vecamera::device::imaging {

/// libjpeg-turbo's decompressor with an owner. Functions that give a bool give true for success;
/// the reason of the last failure is `failure`.
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
  Failure<ImageError> failure() const { return errors_.failure(ImageError::corrupt); }
  bool isCmyk() const;

  enum class Markers { ignore, keep };
  bool readHeader(Markers markers);
  /// The profile, in memory that the caller frees, or null.
  JOCTET* readProfile(unsigned& size);

  /// Starts to read pixels of those colours.
  bool start(DecodeScale scale, J_COLOR_SPACE colors);
  /// Reads up to `count` rows into `to`, one behind the other; 0 means failure.
  std::size_t readRows(std::uint8_t* to, std::size_t count);

  /// Starts to read the components as they are stored.
  bool startPlanes();
  /// Reads the rows of one row of blocks, `info().total_iMCU_rows` in all, of every component.
  bool readPlaneRows(JSAMPIMAGE rows);

  /// Reads all coefficients; null where that fails.
  jvirt_barray_ptr* readCoefficients();

  /// True where all of the picture was there.
  bool finish();

 private:
  jpeg_decompress_struct info_{};
  JpegErrors errors_{};
  jpeg_source_mgr source_{};
  jpeg_progress_mgr progress_{};
};

}  // namespace vecamera::device::imaging
