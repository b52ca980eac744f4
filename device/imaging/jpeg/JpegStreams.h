#pragma once

// jpeglib.h needs the two before it.
#include <csetjmp>
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/jpeg/ScaledIdct.h"

namespace vecamera::device::imaging {

// libjpeg-turbo's two objects with an owner, for the codec's own files.

inline constexpr std::string_view jpegExifMarker("Exif\0\0", 6);

/// Carries libjpeg's error exit back to the call that met it. libjpeg calls it from C code, so it
/// jumps; every function that sets the jump keeps no object with a destructor.
struct JpegErrors {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
  bool dataEndedEarly = false;
};

class JpegReader {
 public:
  /// The bytes outlive the reader.
  explicit JpegReader(Bytes bytes);
  ~JpegReader();
  JpegReader(const JpegReader&) = delete;
  JpegReader& operator=(const JpegReader&) = delete;

  const jpeg_decompress_struct& info() const { return info_; }
  bool isCmyk() const;

  enum class Markers { ignore, keep };
  bool readHeader(Markers markers);
  /// The profile, in memory that the caller frees, or null.
  JOCTET* readProfile(unsigned& size);

  /// Starts to read pixels of those colours, so many for eight stored ones, both ways.
  bool start(unsigned eighths, J_COLOR_SPACE colors);
  /// Reads up to `count` rows into `to`, one behind the other; 0 means failure.
  std::size_t readRows(std::uint8_t* to, std::size_t count);

  /// How many samples, both ways, are read of a block of each component.
  using BlockSamples = std::array<unsigned, MAX_COMPS_IN_SCAN>;
  /// Starts to read the components as they are stored.
  bool startPlanes();
  /// Starts to read the components, each scaled by a `ScaledIdct`.
  bool startScaledPlanes(const BlockSamples& samples);
  /// Reads the rows of one row of blocks, `info().total_iMCU_rows` in all, of every component. Rows
  /// have the room that a `ScaledIdct` needs.
  bool readPlaneRows(JSAMPIMAGE rows);

  /// Whether the last failure was one of memory: none left, or more than a decoder may have.
  bool lackedMemory() const;

  /// Reads all coefficients; null where that fails.
  jvirt_barray_ptr* readCoefficients();

  /// True where all of the picture was there.
  bool finish();

 private:
  /// Gives the components the sizes that `samples_` leaves of them.
  void scaleComponents();
  static void scaleBeforeArrays(j_common_ptr info);
  static jvirt_barray_ptr rowsOfBlocks(j_common_ptr info, int pool, boolean zeroed,
                                       JDIMENSION width, JDIMENSION height, JDIMENSION mostRows);
  static JBLOCKARRAY sameRowsOfBlocks(j_common_ptr info, jvirt_barray_ptr blocks, JDIMENSION first,
                                      JDIMENSION count, boolean writable);
  // Both within the jump of the caller.
  bool startBlocks();
  bool readScaledRows(JSAMPIMAGE rows);

  jpeg_decompress_struct info_{};
  void (*realizeArrays_)(j_common_ptr) = nullptr;
  BlockSamples samples_{};
  JpegErrors error_{};
  jpeg_source_mgr source_{};
  jpeg_progress_mgr progress_{};
  bool created_ = false;

  // Where the library is asked for the blocks themselves instead of for samples.
  bool scalesBlocks_ = false;
  std::array<ScaledIdct, MAX_COMPS_IN_SCAN> scalers_;
  /// Of a picture in several scans, all blocks.
  jvirt_barray_ptr* allBlocks_ = nullptr;
  /// Of any other, those of the row of blocks that was decoded last.
  std::array<JBLOCKARRAY, MAX_COMPONENTS> blocks_{};
  std::size_t blockArrays_ = 0;
  JDIMENSION readRows_ = 0;
};

struct JpegLayout {
  std::size_t width = 0;
  std::size_t height = 0;
  /// libjpeg's, 0 to 100.
  int quality = 0;
  bool gray = false;
  /// Pixels per stored sample of the colour components, both ways.
  int chromaStep = 1;
};

/// Where a writer's bytes go: a buffer that grows and has one owner, also after an error.
struct JpegOutput {
  /// First, so that libjpeg's pointer to it is one to the whole.
  jpeg_destination_mgr manager{};
  unsigned char* bytes = nullptr;
  std::size_t capacity = 0;
  std::size_t size = 0;
};

class JpegWriter {
 public:
  JpegWriter();
  ~JpegWriter();
  JpegWriter(const JpegWriter&) = delete;
  JpegWriter& operator=(const JpegWriter&) = delete;

  const jpeg_compress_struct& info() const { return info_; }

  /// Starts to write pixels of four bytes.
  bool start(const JpegLayout& layout);
  bool writeRow(const std::uint8_t* bytes);

  /// Starts to write components as they are stored.
  bool startPlanes(const JpegLayout& layout);
  bool writePlaneRows(JSAMPIMAGE rows, unsigned rowCount);

  /// Hands libjpeg the blocks of the rows `first` to `first + count` of the component behind
  /// `blocks`; called from C code.
  using BlockRows = JBLOCKARRAY (*)(j_common_ptr info, jvirt_barray_ptr blocks, JDIMENSION first,
                                    JDIMENSION count, boolean writable);
  /// Starts to write blocks of coefficients with the quantization and the colours of the reader's
  /// picture, whose axes may be exchanged. `rows` finds its `context` in the client data and is
  /// called, with one of `coefficients`, until the writing is finished.
  bool startCoefficients(const JpegReader& reader, jvirt_barray_ptr* coefficients, bool swapsAxes,
                         BlockRows rows, void* context);

  /// After the start, before the first row: an Exif block, where it is not empty, and a profile,
  /// where there is one.
  bool writeMetadata(Bytes exif, const std::vector<std::uint8_t>* profile);
  bool finish();

  /// After `finish`.
  Bytes written() const { return {output_.bytes, output_.size}; }

 private:
  bool writeExif(const std::uint8_t* block, std::size_t size);
  bool writeProfile(const std::vector<std::uint8_t>& profile);
  void create();
  void describe(const JpegLayout& layout);
  void describeTurned(const jpeg_decompress_struct& from, bool swapsAxes);

  jpeg_compress_struct info_{};
  JpegErrors error_{};
  JpegOutput output_;
  bool created_ = false;
};

}  // namespace vecamera::device::imaging
