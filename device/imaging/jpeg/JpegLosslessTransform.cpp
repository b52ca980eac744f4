#include "device/imaging/jpeg/JpegLosslessTransform.h"

#include <array>
#include <cstring>
#include <utility>

#include "device/imaging/base/ScratchBuffer.h"
#include "device/imaging/base/Simd.h"
#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/jpeg/JpegWriter.h"

namespace vecamera::device::imaging {
namespace {

using Row = Words8;
static_assert(sizeof(Row) == DCTSIZE * sizeof(JCOEF));

constexpr std::size_t maxComponents = 3;

/// Mirroring a block changes the sign of its odd frequencies. False where a frequency is larger
/// than 8-bit pictures have it: the usual codes have none for it.
bool transformBlock(const JCOEF* from, const Orientation& orientation, JCOEF* to) {
  Row rows[DCTSIZE];
  std::memcpy(rows, from, sizeof rows);
  if (orientation.swapsAxes) transposeBlock(rows);
  if (orientation.mirrorsX) {
    const Row oddColumns{1, -1, 1, -1, 1, -1, 1, -1};
    for (Row& row : rows) row *= oddColumns;
  }
  if (orientation.mirrorsY) {
    for (int i = 1; i < DCTSIZE; i += 2) rows[i] = -rows[i];
  }
  std::memcpy(to, rows, sizeof rows);
  // The mean of a black block.
  if (rows[0][0] == -1024) rows[0][0] = 0;
  Row highest = rows[0];
  Row lowest = rows[0];
  for (const Row& row : rows) {
    highest = row > highest ? row : highest;
    lowest = row < lowest ? row : lowest;
  }
  const Row isTooLarge = (highest > 1023) | (lowest < -1023);
  std::uint64_t halves[2];
  std::memcpy(halves, &isTooLarge, sizeof halves);
  if ((halves[0] | halves[1]) == 0) return true;
  // Libjpeg's encoder goes on until the end, and is not to see those.
  std::memset(to, 0, sizeof rows);
  return false;
}

/// What the writer needs to transform a component's blocks row by row when libjpeg asks for them.
/// It is used from C code that may jump, so that its functions keep no object with a destructor.
struct BlockTransformer {
  jpeg_decompress_struct* from;
  jvirt_barray_ptr* coefficients;
  Orientation orientation;
  /// Of the transformed components, which the writer lays out.
  const jpeg_compress_struct* to;
  /// Libjpeg asks for all components before it looks at what it got.
  std::array<JBLOCK*, maxComponents> blocks{};
  std::array<std::array<JBLOCKROW, MAX_SAMP_FACTOR>, maxComponents> rowsOf{};
  bool canBeWritten = true;

  JBLOCKARRAY transformed(std::size_t component, JDIMENSION first, JDIMENSION count) {
    auto& rows = rowsOf[component];
    const jpeg_component_info& target = to->comp_info[component];
    const auto source = reinterpret_cast<j_common_ptr>(from);
    const JDIMENSION width = target.width_in_blocks;
    const JDIMENSION height = target.height_in_blocks;
    // The last group of rows may be incomplete; libjpeg does not look at what is missing.
    const JDIMENSION present = std::min(count, height - first);
    for (JDIMENSION y = 0; y < count; ++y) rows[y] = blocks[component] + std::size_t{y} * width;
    const auto rowAt = [&](JDIMENSION row) {
      return from->mem->access_virt_barray(source, coefficients[component], row, 1, FALSE)[0];
    };
    const auto targetX = [&](JDIMENSION x) { return orientation.mirrorsX ? width - 1 - x : x; };
    const auto targetY = [&](JDIMENSION y) { return orientation.mirrorsY ? height - 1 - y : y; };
    if (orientation.swapsAxes) {
      for (JDIMENSION x = 0; x < width; ++x) {
        const JBLOCKROW column = rowAt(targetX(x));
        for (JDIMENSION y = 0; y < present; ++y)
          canBeWritten &= transformBlock(column[targetY(first + y)], orientation, rows[y][x]);
      }
    } else {
      for (JDIMENSION y = 0; y < present; ++y) {
        const JBLOCKROW row = rowAt(targetY(first + y));
        for (JDIMENSION x = 0; x < width; ++x)
          canBeWritten &= transformBlock(row[targetX(x)], orientation, rows[y][x]);
      }
    }
    return rows.data();
  }
};

JBLOCKARRAY transformedRows(j_common_ptr info, jvirt_barray_ptr wanted, JDIMENSION first,
                            JDIMENSION count, boolean) {
  auto& transformer = *static_cast<BlockTransformer*>(info->client_data);
  std::size_t component = 0;
  while (transformer.coefficients[component] != wanted) ++component;
  // The writer has called, so that an error of the reader has to end the writer's call.
  jpeg_error_mgr* const ownErrors = std::exchange(transformer.from->err, info->err);
  const JBLOCKARRAY rows = transformer.transformed(component, first, count);
  transformer.from->err = ownErrors;
  return rows;
}

bool isSupported(const jpeg_decompress_struct& info, const Orientation& orientation) {
  if (info.data_precision != 8 ||
      (info.jpeg_color_space != JCS_GRAYSCALE && info.jpeg_color_space != JCS_YCbCr))
    return false;
  // Mirrored axes have to end with a group of blocks.
  const auto [swaps, across, down] = inverse(orientation);
  const auto group = [](int factor) { return static_cast<JDIMENSION>(factor * DCTSIZE); };
  return (!across || info.image_width % group(info.max_h_samp_factor) == 0) &&
         (!down || info.image_height % group(info.max_v_samp_factor) == 0);
}

}  // namespace

ImageResult<EncodedBytes> transformJpegLosslessly(Bytes bytes, const PictureHeader& header,
                                                  const Orientation& orientation, Bytes exif) {
  if (!jpegCanHold(bytes, header)) return Failure(ImageError::corrupt);
  // Outlives the reader, which lends it its errors.
  JpegWriter writer;
  JpegReader reader(bytes);
  if (const auto read = reader.readHeader(); !read) return read.failure();
  if (!isSupported(reader.info(), orientation)) return Failure(ImageError::unsupported);
  const auto coefficients = reader.readCoefficients();
  if (!coefficients) return coefficients.failure();
  BlockTransformer transformer{&reader.info(), *coefficients, orientation, &writer.info()};
  std::array<ScratchBuffer, maxComponents> memory;
  for (std::size_t i = 0; i < static_cast<std::size_t>(reader.info().num_components); ++i) {
    const jpeg_component_info& component = reader.info().comp_info[i];
    const std::size_t longest = std::max(component.width_in_blocks, component.height_in_blocks);
    memory[i] = ScratchBuffer(longest * MAX_SAMP_FACTOR * sizeof(JBLOCK));
    if (!memory[i]) return Failure(ImageError::outOfMemory);
    transformer.blocks[i] = reinterpret_cast<JBLOCK*>(memory[i].data());
  }
  if (!writer.startCoefficients(reader, *coefficients, orientation, transformedRows, &transformer,
                                {exif, &header.profile}))
    return Failure(ImageError::corrupt);
  auto written = writer.finish();
  if (!written || !reader.finish()) return Failure(ImageError::corrupt);
  if (!transformer.canBeWritten) return Failure(ImageError::unsupported);
  return written;
}

}  // namespace vecamera::device::imaging
