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
  /// For the picture whose planes the reader has started to read. The only error is `outOfMemory`.
  static ImageResult<RowBand> create(const jpeg_decompress_struct& info,
                                     const std::vector<StoredComponent>& components) {
    RowBand band;
    std::size_t fewest = SIZE_MAX;
    for (std::size_t i = 0; i < components.size(); ++i) {
      const jpeg_component_info& component = info.comp_info[i];
      const int rows = component.v_samp_factor * component.DCT_scaled_size;
      band.components_.push_back({static_cast<std::size_t>(rows), {}, {}});
      fewest = std::min(fewest, band.components_[i].blockRows);
    }
    band.groups_ = (minBandRows + fewest - 1) / fewest;
    // The resampler takes rows in pairs, and a component may have an odd number of them in a group.
    band.groups_ += band.groups_ % 2;
    for (std::size_t i = 0; i < components.size(); ++i) {
      auto& [blockRows, memory, rows] = band.components_[i];
      const std::size_t stride =
          (std::size_t{info.comp_info[i].width_in_blocks} + ScaledIdct::extraBlocks) * DCTSIZE *
          bytesOf(components[i].format);
      memory = ScratchBuffer(stride * blockRows * band.groups_);
      if (!memory) return Failure(ImageError::outOfMemory);
      for (std::size_t y = 0; y < blockRows * band.groups_; ++y)
        rows.push_back(memory.data() + y * stride);
    }
    return band;
  }

  std::size_t maxRows() const {
    std::size_t max = 0;
    for (const Component& component : components_) max = std::max(max, component.rows.size());
    return max;
  }

  /// Whether all of the picture was read.
  bool ended(const jpeg_decompress_struct& info) const {
    return readGroups_ == info.total_iMCU_rows;
  }

  /// Fills the band with the next rows of blocks, each of which `readRows` reads.
  template <typename ReadRows>
  ImageResult<void> read(const jpeg_decompress_struct& info, ReadRows readRows) {
    for (std::size_t group = 0; group < groups_ && !ended(info); ++group, ++readGroups_) {
      std::array<JSAMPARRAY, maxComponents> at{};
      for (std::size_t i = 0; i < components_.size(); ++i)
        at[i] = components_[i].rows.data() + group * components_[i].blockRows;
      if (auto read = readRows(at.data()); !read) return read;
    }
    return {};
  }

  const std::vector<JSAMPROW>& rows(std::size_t component) const {
    return components_[component].rows;
  }

 private:
  struct Component {
    /// The rows of samples in a group.
    std::size_t blockRows;
    ScratchBuffer memory;
    std::vector<JSAMPROW> rows;
  };

  RowBand() = default;

  std::vector<Component> components_;
  // Rows of blocks, counted for all components together: those of the band, and those read so far.
  std::size_t groups_ = 0;
  std::size_t readGroups_ = 0;
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

/// Blocks that are decoded to four samples leave more aliasing than others.
constexpr double neededLuma(unsigned blockSamples) {
  return blockSamples == 4 ? 2.6 : neededLumaSamples;
}
/// For chroma: measured likewise, about 2 percent of the amplitude are left.
constexpr double neededChroma = 1.9;
/// Every decoded sample depends on its whole block, so that a crop that ends inside of a block lets
/// some of what was cropped through. With so many times more samples, it is faint and only in the
/// first pixel of the result.
constexpr double neededMoreIfCropped = 1.5;

/// The component where its blocks are decoded to so many samples, along both axes.
StoredComponent storedComponent(const jpeg_decompress_struct& info, int index,
                                unsigned blockSamples) {
  const jpeg_component_info& component = info.comp_info[index];
  const auto count = [&](std::size_t pixels, int factor, int maxFactor) {
    const auto groupPixels = static_cast<std::size_t>(maxFactor * DCTSIZE);
    const auto groupSamples = static_cast<std::size_t>(factor) * blockSamples;
    return (pixels * groupSamples + groupPixels - 1) / groupPixels;
  };
  const double step = double{DCTSIZE} / blockSamples;
  return {{count(info.image_width, component.h_samp_factor, info.max_h_samp_factor),
           count(info.image_height, component.v_samp_factor, info.max_v_samp_factor),
           info.max_h_samp_factor / component.h_samp_factor * step,
           info.max_v_samp_factor / component.v_samp_factor * step},
          blockSamples < DCTSIZE ? ScaledIdct::formatOf(blockSamples) : SampleFormat::byte};
}

/// How many samples, along both axes, the blocks of each component are decoded to. Nothing where a
/// component needs more than `ScaledIdct` makes: then all blocks are decoded at full size.
std::optional<JpegBlockReader::BlockSamples> scaledSamples(const jpeg_decompress_struct& info,
                                                           const AlignedPlacement& placement,
                                                           int chromaSubsampling) {
  const auto isCropped = [](const AxisPlacement& axis) { return axis.source.count < axis.length; };
  const bool cropped = isCropped(placement.columns) || isCropped(placement.rows);
  JpegBlockReader::BlockSamples samples{};
  for (int i = 0; i < info.num_components; ++i) {
    const SampleGrid grid = storedComponent(info, i, DCTSIZE).grid;
    const double density =
        placement.sampled(grid, i == 0 ? 1 : chromaSubsampling).storedPerResult();
    const auto& sizes = ScaledIdct::sizes;
    const auto* const found = std::find_if(sizes.begin(), sizes.end(), [&](unsigned blockSamples) {
      const double needed =
          (i == 0 ? neededLuma(blockSamples) : neededChroma) * (cropped ? neededMoreIfCropped : 1);
      return density * blockSamples >= needed * DCTSIZE;
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

ImageResult<void> writePlanes(JpegWriter& writer, const std::vector<CanvasPlane>& planes) {
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
    if (auto written = writer.writePlaneRows(rows.data(), groupRows); !written) return written;
  }
  return {};
}

ImageResult<std::vector<CanvasPlane>> decodePlanes(Bytes bytes, const AlignedPlacement& placement,
                                                   int chromaSubsampling) {
  JpegReader reader(bytes);
  if (const auto read = reader.readHeader(); !read) return read.failure();
  const jpeg_decompress_struct& info = reader.info();
  if (!storesPlanes(info)) return Failure(ImageError::unsupported);
  auto samples = scaledSamples(info, placement, chromaSubsampling);
  const bool isScaled = samples.has_value();
  if (!isScaled) samples.emplace().fill(DCTSIZE);
  std::vector<StoredComponent> components;
  for (int i = 0; i < info.num_components; ++i) {
    components.push_back(storedComponent(info, i, (*samples)[static_cast<std::size_t>(i)]));
    // Before the reader starts, which decodes all of a progressive picture.
    if (placement.sampled(components.back().grid, i == 0 ? 1 : chromaSubsampling).minScale() <
        AxisWeights::minScale)
      return Failure(ImageError::unsupported);
  }
  JpegBlockReader blocks(reader, *samples);
  if (const auto started = isScaled ? blocks.start() : reader.startPlanes(); !started)
    return started.failure();
  auto band = RowBand::create(info, components);
  if (!band) return band.failure();
  auto canvas = PlanarCanvas::create(placement, components, chromaSubsampling, band->maxRows());
  if (!canvas) return canvas.failure();
  const auto readRows = [&](JSAMPIMAGE rows) {
    return isScaled ? blocks.readRows(rows) : reader.readPlaneRows(rows);
  };
  for (std::size_t bands = 0; !band->ended(info); ++bands) {
    if (const auto read = band->read(info, readRows); !read) return read.failure();
    for (std::size_t i = 0; i < components.size(); ++i) {
      const std::size_t height = components[i].grid.height;
      const auto& rows = band->rows(i);
      const std::size_t first = std::min(bands * rows.size(), height);
      canvas->push(i, rows.data(), std::min(rows.size(), height - first));
    }
  }
  if (const auto finished = reader.finish(); !finished) return finished.failure();
  return canvas->finish();
}

}  // namespace

ImageResult<EncodedBytes> resampleJpeg(Bytes bytes, const PictureHeader& header,
                                       const AlignedPlacement& placement, int quality, Bytes exif) {
  if (!jpegCanHold(bytes, header)) return Failure(ImageError::corrupt);
  const auto planes = decodePlanes(bytes, placement, chromaSubsamplingFor(quality));
  if (!planes) return planes.failure();
  for (const CanvasPlane& plane : *planes) fillLastBlocks(plane.view);
  const PlaneView& luma = planes->front().view;
  JpegWriter writer;
  const auto started = writer.start(planes->size() == 1 ? JpegInput::grayPlane : JpegInput::planes,
                                    luma.width, luma.height, quality, {exif, &header.profile});
  if (!started) return started.failure();
  if (const auto written = writePlanes(writer, *planes); !written) return written.failure();
  return writer.finish();
}

}  // namespace vecamera::device::imaging
