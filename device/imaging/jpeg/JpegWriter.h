#pragma once

#include <cstdint>

#include "device/imaging/base/Orientation.h"
#include "device/imaging/jpeg/JpegMemoryHooks.h"
#include "device/imaging/jpeg/JpegReader.h"

namespace vecamera::device::imaging {

struct JpegSettings {
  std::size_t width = 0;
  std::size_t height = 0;
  /// libjpeg's, 0 to 100.
  int quality = 0;
  bool gray = false;
  /// Pixels per stored sample of chroma, along both axes.
  int chromaStep = 1;
};

/// What a writer is given: pixels of four bytes, or components as they are stored.
enum class JpegInput { pixels, planes };

/// Where a writer's bytes go: a buffer that grows and has one owner, also after an error.
struct JpegOutput {
  /// First, so that libjpeg's pointer to it is one to the whole.
  jpeg_destination_mgr manager{};
  unsigned char* bytes = nullptr;
  std::size_t capacity = 0;
  std::size_t size = 0;
};

/// libjpeg-turbo's compressor with an owner. Functions that give a bool give true for success; the
/// reason of the last failure is `failure`.
class JpegWriter {
 public:
  JpegWriter();
  ~JpegWriter();
  JpegWriter(const JpegWriter&) = delete;
  JpegWriter& operator=(const JpegWriter&) = delete;

  const jpeg_compress_struct& info() const { return info_; }
  Failure<ImageError> failure() const { return errors_.failure(ImageError::unsupported); }

  bool start(JpegInput input, const JpegSettings& settings);
  bool writeRow(const std::uint8_t* bytes);
  bool writePlaneRows(JSAMPIMAGE rows, unsigned rowCount);

  /// Starts to write blocks of coefficients with the quantization and the colours of the reader's
  /// picture, whose axes the orientation may exchange. `rows` is called with the context, and with
  /// one of `coefficients`, until the writing is finished.
  bool startCoefficients(const JpegReader& reader, jvirt_barray_ptr* coefficients,
                         const Orientation& orientation, JpegBlockRows rows, void* context);

  /// After the start, before the first row: an Exif block, where it is not empty, and a profile,
  /// where there is one.
  bool writeMetadata(Bytes exif, const EncodedBytes* profile);
  /// Ends the picture, after which nothing else may be called.
  ImageResult<EncodedBytes> finish();

 private:
  void create();

  jpeg_compress_struct info_{};
  JpegErrors errors_{};
  JpegOutput output_;
};

}  // namespace vecamera::device::imaging
