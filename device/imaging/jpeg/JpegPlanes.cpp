#include "device/imaging/jpeg/JpegPlanes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <optional>

#include "device/imaging/base/ScratchBuffer.h"
#include "device/imaging/jpeg/JpegBlockReader.h"
#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/jpeg/JpegWriter.h"
#include "device/imaging/resample/PlanarCanvas.h"

namespace vecamera::device::imaging {
namespace {

constexpr std::size_t maxComponents = 3;

/// Every component gets at least so many rows in a band, which makes good use of the resampler.
constexpr std::size_t minBandRows = 8;

/// Memory for a few rows of blocks of every component, and the rows in it.
class RowBand {
 public:
  /// For the picture that the reader has started to give planes of.
  RowBand(const jpeg_decompress_struct& info, const std::vector<StoredComponent>& components) {
    std::size_t fewest = SIZE_MAX;
    for (std::size_t i = 0; i < count(info); ++i) {
      const jpeg_component_info& component = info.comp_info[i];
      blockRows_[i] = static_cast<std::size_t>(component.v_samp_factor * component.DCT_scaled_size);
      fewest = std::min(fewest, blockRows_[i]);
    }
    groups_ = (minBandRows + fewest - 1) / fewest;
    // The resampler takes rows in pairs, and a component may have an odd number of them in a group.
    groups_ += groups_ % 2;
    for (std::size_t i = 0; i < count(info); ++i) {
      const jpeg_component_info& component = info.comp_info[i];
      const std::size_t stride =
          (std::size_t{component.width_in_blocks} + ScaledIdct::extraBlocks) * DCTSIZE *
          bytesOf(components[i].format);
      memory_[i] = ScratchBuffer(stride * blockRows_[i] * groups_);
      if (!memory_[i]) return;
      for (std::size_t y = 0; y < blockRows_[i] * groups_; ++y)
        rows_[i].push_back(memory_[i].data() + y * stride);
    }
    ready_ = true;
  }

  bool ready() const { return ready_; }
  std::size_t maxRows() const {
    return std::max({rows_[0].size(), rows_[1].size(), rows_[2].size()});
  }

  /// Whether all of the picture was read.
  bool ended(const jpeg_decompress_struct& info) const {
    return readGroups_ == info.total_iMCU_rows;
  }

  /// Fills the band with the next rows of blocks, each of which `readRows` reads; false where that
  /// fails.
  template <typename ReadRows>
  bool read(const jpeg_decompress_struct& info, ReadRows readRows) {
    for (std::size_t group = 0; group < groups_ && !ended(info); ++group, ++readGroups_) {
      std::array<JSAMPARRAY, maxComponents> at{};
      for (std::size_t i = 0; i < count(info); ++i) at[i] = rows_[i].data() + group * blockRows_[i];
      if (!readRows(at.data())) return false;
    }
    return true;
  }

  const std::uint8_t* const* rows(std::size_t component) const { return rows_[component].data(); }
  std::size_t rowCount(std::size_t component) const { return rows_[component].size(); }

  static std::size_t count(const jpeg_decompress_struct& info) {
    return static_cast<std::size_t>(info.num_components);
  }

 private:
  std::array<ScratchBuffer, maxComponents> memory_;
  std::array<std::vector<JSAMPROW>, maxComponents> rows_;
  std::array<std::size_t, maxComponents> blockRows_{};
  std::size_t groups_ = 0;
  std::size_t readGroups_ = 0;
  bool ready_ = false;
};

bool storesPlanes(const jpeg_decompress_struct& info) {
  if (info.data_precision != 8) return false;
  if (info.jpeg_color_space == JCS_GRAYSCALE) return info.num_components == 1;
  if (info.jpeg_color_space != JCS_YCbCr || info.num_components != 3) return false;
  return std::all_of(info.comp_info, info.comp_info + 3, [&](const jpeg_component_info& component) {
    return info.max_h_samp_factor % component.h_samp_factor == 0 &&
           info.max_v_samp_factor % component.v_samp_factor == 0;
  });
}

/// How many samples of luma, along each axis, a sample of it on the canvas needs where so many come
/// out of a block. Found with a zone plate: of amplitudes above Nyquist for the canvas, this leaves
/// about a hundredth as aliasing, as the root of the mean square. Four of a block leave more than
/// the others.
constexpr double lumaSamples(unsigned ofBlock) {
  return ofBlock == 4 ? 2.6 : 2.4;
}
/// The same for chroma, where it leaves about two hundredths.
constexpr double chromaSamples = 1.9;
/// A sample is made of all of its block. More of them keep what lies in a block that is cropped,
/// but was cut off, to the first pixel of the result, and faint.
constexpr double moreSamplesIfCropped = 1.5;

/// A component of which so many samples, along both axes, come out of a block.
StoredComponent storedComponent(const jpeg_decompress_struct& info, int index, unsigned samples) {
  const jpeg_component_info& component = info.comp_info[index];
  const auto count = [&](std::size_t pixels, int factor, int maxFactor) {
    const auto groupPixels = static_cast<std::size_t>(maxFactor * DCTSIZE);
    const auto groupSamples = static_cast<std::size_t>(factor) * samples;
    return (pixels * groupSamples + groupPixels - 1) / groupPixels;
  };
  const double step = double{DCTSIZE} / samples;
  return {{count(info.image_width, component.h_samp_factor, info.max_h_samp_factor),
           count(info.image_height, component.v_samp_factor, info.max_v_samp_factor),
           info.max_h_samp_factor / component.h_samp_factor * step,
           info.max_v_samp_factor / component.v_samp_factor * step},
          samples < DCTSIZE ? ScaledIdct::formatOf(samples) : SampleFormat::byte};
}

/// How many samples, along both axes, are made of the blocks of each component; nothing where one
/// of them needs more than `ScaledIdct` makes, so that all of all blocks is read.
std::optional<JpegBlockReader::BlockSamples> scaledSamples(const jpeg_decompress_struct& info,
                                                           const AlignedPlacement& placement,
                                                           int chromaStep) {
  const auto isCropped = [](const AxisPlacement& axis) { return axis.usable.count < axis.length; };
  const bool cropped = isCropped(placement.columns) || isCropped(placement.rows);
  JpegBlockReader::BlockSamples samples{};
  for (int i = 0; i < info.num_components; ++i) {
    // Stored samples for one of the canvas, on the axis that has fewer.
    const SampleGrid grid = storedComponent(info, i, DCTSIZE).grid;
    const int canvasStep = i == 0 ? 1 : chromaStep;
    const double density = std::min(canvasStep / (std::abs(placement.columns.scale) * grid.stepX),
                                    canvasStep / (std::abs(placement.rows.scale) * grid.stepY));
    const auto& sizes = ScaledIdct::sizes;
    const auto* const found = std::find_if(sizes.begin(), sizes.end(), [&](unsigned ofBlock) {
      const double needed =
          (i == 0 ? lumaSamples(ofBlock) : chromaSamples) * (cropped ? moreSamplesIfCropped : 1);
      return density * ofBlock >= needed * DCTSIZE;
    });
    if (found == sizes.end()) return std::nullopt;
    samples[static_cast<std::size_t>(i)] = *found;
  }
  return samples;
}

/// The encoder reads whole blocks; what fills the last one up is like the picture's edge.
void fillLastBlocks(const PlaneView& plane) {
  const std::size_t end = (plane.width + DCTSIZE - 1) / DCTSIZE * DCTSIZE;
  for (std::size_t y = 0; y < plane.height; ++y)
    std::memset(plane.row(y) + plane.width, plane.row(y)[plane.width - 1], end - plane.width);
}

bool writePlanes(JpegWriter& writer, const std::vector<CanvasPlane>& planes) {
  constexpr std::size_t maxRows = 2 * DCTSIZE;
  std::array<std::array<JSAMPROW, maxRows>, maxComponents> pointers{};
  std::array<JSAMPARRAY, maxComponents> rows{};
  for (std::size_t i = 0; i < planes.size(); ++i) rows[i] = pointers[i].data();
  const jpeg_compress_struct& info = writer.info();
  const auto groupRows = static_cast<unsigned>(info.max_v_samp_factor * DCTSIZE);
  for (std::size_t group = 0; info.next_scanline < info.image_height; ++group) {
    for (std::size_t i = 0; i < planes.size(); ++i) {
      const auto count = static_cast<std::size_t>(info.comp_info[i].v_samp_factor * DCTSIZE);
      const PlaneView& plane = planes[i].view;
      for (std::size_t y = 0; y < count; ++y)
        pointers[i][y] = plane.row(std::min(group * count + y, plane.height - 1));
    }
    if (!writer.writePlaneRows(rows.data(), groupRows)) return false;
  }
  return true;
}

ImageResult<std::vector<CanvasPlane>> decodePlanes(Bytes bytes, const AlignedPlacement& placement,
                                                   int chromaStep) {
  JpegReader reader(bytes);
  if (!reader.readHeader(JpegReader::Markers::ignore)) return reader.failure();
  const jpeg_decompress_struct& info = reader.info();
  if (!storesPlanes(info)) return Failure(ImageError::unsupported);
  auto samples = scaledSamples(info, placement, chromaStep);
  const bool isScaled = samples.has_value();
  if (!isScaled) samples.emplace().fill(DCTSIZE);
  std::vector<StoredComponent> components;
  for (int i = 0; i < info.num_components; ++i) {
    components.push_back(storedComponent(info, i, (*samples)[static_cast<std::size_t>(i)]));
    // Before the reader starts, which decodes all of a progressive picture.
    if (placement.sampled(components.back().grid, i == 0 ? 1 : chromaStep).minScale() <
        AxisWeights::minScale)
      return Failure(ImageError::unsupported);
  }
  JpegBlockReader blocks(reader, *samples);
  if (!(isScaled ? blocks.start() : reader.startPlanes())) return reader.failure();
  RowBand band(info, components);
  if (!band.ready()) return Failure(ImageError::outOfMemory);
  PlanarCanvas canvas(placement, components, chromaStep, band.maxRows());
  if (!canvas.ready()) return Failure(ImageError::outOfMemory);
  const auto readRows = [&](JSAMPIMAGE rows) {
    return isScaled ? blocks.readRows(rows) : reader.readPlaneRows(rows);
  };
  for (std::size_t bands = 0; !band.ended(info); ++bands) {
    if (!band.read(info, readRows)) return reader.failure();
    for (std::size_t i = 0; i < components.size(); ++i) {
      const std::size_t height = components[i].grid.height;
      const std::size_t first = std::min(bands * band.rowCount(i), height);
      canvas.push(i, band.rows(i), std::min(band.rowCount(i), height - first));
    }
  }
  if (!reader.finish()) return reader.failure();
  auto planes = canvas.finish();
  if (planes.empty()) return Failure(ImageError::outOfMemory);
  return planes;
}

}  // namespace

ImageResult<EncodedBytes> resampleJpeg(Bytes bytes, const PictureHeader& header,
                                       const AlignedPlacement& placement, int quality, Bytes exif) {
  if (!jpegCanHold(bytes, header)) return Failure(ImageError::corrupt);
  const int chromaStep = jpegChromaStep(quality);
  const auto planes = decodePlanes(bytes, placement, chromaStep);
  if (!planes) return planes.failure();
  for (const CanvasPlane& plane : *planes) fillLastBlocks(plane.view);
  const PlaneView& luma = planes->front().view;
  JpegWriter writer;
  if (!writer.start(JpegInput::planes,
                    {luma.width, luma.height, quality, planes->size() == 1, chromaStep}) ||
      !writer.writeMetadata(exif, &header.profile) || !writePlanes(writer, *planes))
    return writer.failure();
  return writer.finish();
}

}  // namespace vecamera::device::imaging
