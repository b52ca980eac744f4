#pragma once

#include "device/imaging/jpeg/JpegMemoryHooks.h"
#include "device/imaging/jpeg/JpegReader.h"
#include "device/imaging/jpeg/ScaledIdct.h"

namespace vecamera::device::imaging {

/// Reads the components of a JPEG at a fraction of their size: libjpeg decodes coefficients, and a
/// `ScaledIdct` makes the samples.
class JpegBlockReader {
 public:
  /// How many samples, along both axes, a block of each component is decoded to.
  using BlockSamples = std::array<unsigned, MAX_COMPS_IN_SCAN>;

  /// The reader has read its header; its last use is within the life of this object.
  JpegBlockReader(JpegReader& reader, const BlockSamples& samples)
      : reader_(reader), samples_(samples) {}
  JpegBlockReader(const JpegBlockReader&) = delete;
  JpegBlockReader& operator=(const JpegBlockReader&) = delete;

  ImageResult<void> start();
  /// As `JpegReader::readPlaneRows`; rows have the room that a `ScaledIdct` needs.
  ImageResult<void> readRows(JSAMPIMAGE rows);

 private:
  void scaleComponents();

  JpegReader& reader_;
  BlockSamples samples_;
  std::array<ScaledIdct, MAX_COMPS_IN_SCAN> transforms_;
  /// Of a picture in several scans, all blocks.
  jvirt_barray_ptr* allBlocks_ = nullptr;
  /// Of any other, those of the row of blocks that was decoded last.
  JpegReadHooks hooks_;
  JDIMENSION doneRows_ = 0;
};

}  // namespace vecamera::device::imaging
