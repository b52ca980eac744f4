#include "device/imaging/jpeg/JpegPlanes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "device/imaging/base/ScratchBuffer.h"
#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/jpeg/JpegStreams.h"

namespace vecamera::device::imaging {
namespace {

constexpr std::size_t mostComponents = 3;

/// Every component gets at least so many rows in a band, which makes good use of the resampler.
constexpr std::size_t leastBandRows = 8;

/// Memory for a few rows of blocks of every component, and the rows in it.
class Band {
 public:
  /// For the picture that the reader has started to give planes of.
  Band(const jpeg_decompress_struct& info, const std::vector<StoredComponent>& components) {
    std::size_t least = SIZE_MAX;
    for (std::size_t i = 0; i < count(info); ++i) {
      blockRows_[i] = rowsOf(info.comp_info[i]);
      least = std::min(least, blockRows_[i]);
    }
    groups_ = (leastBandRows + least - 1) / least;
    // The resampler takes rows in pairs, and a component may have an odd number of them in a group.
    groups_ += groups_ % 2;
    for (std::size_t i = 0; i < count(info); ++i) {
      const jpeg_component_info& component = info.comp_info[i];
      const std::size_t stride = (std::size_t{component.width_in_blocks} + ScaledIdct::moreBlocks) *
                                 DCTSIZE * bytesOf(components[i].unit);
      memory_[i] = ScratchBuffer(stride * blockRows_[i] * groups_);
      if (!memory_[i]) return;
      for (std::size_t y = 0; y < blockRows_[i] * groups_; ++y)
        rows_[i].push_back(memory_[i].data() + y * stride);
    }
    ready_ = true;
  }

  bool ready() const { return ready_; }
  std::size_t mostRows() const {
    return std::max({rows_[0].size(), rows_[1].size(), rows_[2].size()});
  }

  /// Whether all of the picture was read.
  bool ended(const jpeg_decompress_struct& info) const {
    return readGroups_ == info.total_iMCU_rows;
  }

  /// Fills the band with the next rows of blocks; false where that fails.
  bool read(JpegReader& reader) {
    const jpeg_decompress_struct& info = reader.info();
    for (std::size_t group = 0; group < groups_ && !ended(info); ++group, ++readGroups_) {
      std::array<JSAMPARRAY, mostComponents> at{};
      for (std::size_t i = 0; i < count(info); ++i) at[i] = rows_[i].data() + group * blockRows_[i];
      if (!reader.readPlaneRows(at.data())) return false;
    }
    return true;
  }

  const std::uint8_t* const* rows(std::size_t component) const { return rows_[component].data(); }
  std::size_t rowCount(std::size_t component) const { return rows_[component].size(); }

  static std::size_t count(const jpeg_decompress_struct& info) {
    return static_cast<std::size_t>(info.num_components);
  }

 private:
  static std::size_t rowsOf(const jpeg_component_info& component) {
    return static_cast<std::size_t>(component.v_samp_factor * component.DCT_scaled_size);
  }

  std::array<ScratchBuffer, mostComponents> memory_;
  std::array<std::vector<JSAMPROW>, mostComponents> rows_;
  std::array<std::size_t, mostComponents> blockRows_{};
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

/// The samples of a component as they are stored.
struct Density {
  /// How many pixels each spans.
  double stepX = 1;
  double stepY = 1;
  /// How many there are for one of the canvas, on the axis that has the fewest and on the other.
  double least = 1;
  double most = 1;
};

/// `stretchX` and `stretchY` are those of a stored pixel, `canvasStep` the pixels of the canvas in
/// a sample of the component.
Density densityOf(const jpeg_decompress_struct& info, const jpeg_component_info& component,
                  double stretchX, double stretchY, int canvasStep) {
  const double stepX = info.max_h_samp_factor / component.h_samp_factor;
  const double stepY = info.max_v_samp_factor / component.v_samp_factor;
  const double x = canvasStep / (stretchX * stepX);
  const double y = canvasStep / (stretchY * stepY);
  return {stepX, stepY, std::min(x, y), std::max(x, y)};
}

/// How many samples, both ways, are needed for each of the brightness on the canvas where so many
/// come out of a block. Found with a zone plate: of rings that are too fine for the result, this
/// leaves about a hundredth of their strength, as the root of the mean square. Four of a block
/// leave more than the others.
constexpr double brightnessSamples(unsigned ofBlock) {
  return ofBlock == 4 ? 2.6 : 2.4;
}
/// The same for the colours, of which it leaves about two hundredths.
constexpr double colorSamples = 1.9;
/// A sample is made of all of its block. More of them keep what lies in a cut block, but was cut
/// off, to the first pixel of the result, and faint.
constexpr double moreSamplesIfCut = 1.5;

bool cuts(const SourceRect& usable, const jpeg_decompress_struct& info) {
  return usable.columns.count < info.image_width || usable.rows.count < info.image_height;
}

/// How many samples, both ways, are read of the blocks of each component; nothing where one of them
/// needs more than a scaler makes, so that all of all blocks is read.
std::optional<JpegReader::BlockSamples> scaledSamples(const std::vector<Density>& densities,
                                                      bool isCut) {
  JpegReader::BlockSamples samples{};
  const double more = isCut ? moreSamplesIfCut : 1;
  for (std::size_t i = 0; i < densities.size(); ++i) {
    const auto& sizes = ScaledIdct::sizes;
    const auto found = std::find_if(sizes.begin(), sizes.end(), [&](unsigned ofBlock) {
      const double needed = (i == 0 ? brightnessSamples(ofBlock) : colorSamples) * more;
      return densities[i].least * ofBlock >= needed * DCTSIZE;
    });
    if (found == sizes.end()) return std::nullopt;
    samples[i] = *found;
  }
  return samples;
}

std::vector<StoredComponent> storedComponents(const jpeg_decompress_struct& info,
                                              const std::vector<Density>& densities,
                                              const JpegReader::BlockSamples& samples) {
  std::vector<StoredComponent> components;
  for (std::size_t i = 0; i < densities.size(); ++i) {
    const double step = double{DCTSIZE} / samples[i];
    components.push_back(
        {info.comp_info[i].downsampled_width, info.comp_info[i].downsampled_height,
         densities[i].stepX * step, densities[i].stepY * step,
         samples[i] < DCTSIZE ? ScaledIdct::unitOf(samples[i]) : SampleFormat::byte});
  }
  return components;
}

/// The encoder reads whole blocks; what fills the last one up is like the picture's edge.
void fillLastBlocks(const PlaneView& plane) {
  const std::size_t end = (plane.width + DCTSIZE - 1) / DCTSIZE * DCTSIZE;
  for (std::size_t y = 0; y < plane.height; ++y)
    std::memset(plane.row(y) + plane.width, plane.row(y)[plane.width - 1], end - plane.width);
}

bool writePlanes(JpegWriter& writer, const std::vector<CanvasPlane>& planes) {
  constexpr std::size_t mostRows = 2 * DCTSIZE;
  std::array<std::array<JSAMPROW, mostRows>, mostComponents> pointers{};
  std::array<JSAMPARRAY, mostComponents> rows{};
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

}  // namespace

Attempt<std::vector<CanvasPlane>> planesOfJpeg(Bytes bytes, const PictureHeader& header,
                                               const Placement& layout, std::size_t width,
                                               std::size_t height, int chromaStep) {
  constexpr auto failed = failedAttempt<std::vector<CanvasPlane>>;
  if (!jpegCanHold(bytes, header)) return failed();
  JpegReader reader(bytes);
  if (!reader.readHeader(JpegReader::Markers::ignore)) return failed();
  if (!storesPlanes(reader.info())) return std::nullopt;
  const AffineMap& map = layout.map;
  const bool swaps = layout.turn->swapsAxes;
  const double stretchX = std::abs(swaps ? map.b : map.a);
  const double stretchY = std::abs(swaps ? map.c : map.d);
  std::vector<Density> densities;
  for (int i = 0; i < reader.info().num_components; ++i)
    densities.push_back(densityOf(reader.info(), reader.info().comp_info[i], stretchX, stretchY,
                                  i == 0 ? 1 : chromaStep));
  const auto scaled = scaledSamples(densities, cuts(layout.usable, reader.info()));
  JpegReader::BlockSamples samples;
  samples.fill(DCTSIZE);
  if (scaled) samples = *scaled;
  // Before the reader starts, which decodes all of a progressive picture.
  for (std::size_t i = 0; i < densities.size(); ++i)
    if (densities[i].most * AxisWeights::minScale * samples[i] > DCTSIZE) return std::nullopt;
  if (!(scaled ? reader.startScaledPlanes(samples) : reader.startPlanes())) return failed();
  const jpeg_decompress_struct& info = reader.info();
  const auto components = storedComponents(info, densities, samples);
  Band band(info, components);
  if (!band.ready()) return failed();
  PlanarCanvas canvas(layout, width, height, components, chromaStep, band.mostRows());
  if (!canvas.ready()) return failed();
  for (std::size_t bands = 0; !band.ended(info); ++bands) {
    if (!band.read(reader)) return failed();
    for (std::size_t i = 0; i < components.size(); ++i) {
      const std::size_t first = std::min(bands * band.rowCount(i), components[i].height);
      canvas.push(i, band.rows(i), std::min(band.rowCount(i), components[i].height - first));
    }
  }
  if (!reader.finish()) return failed();
  auto planes = canvas.finish();
  if (planes.empty()) return failed();
  return planes;
}

std::optional<std::vector<std::uint8_t>> encodePlanes(const std::vector<CanvasPlane>& planes,
                                                      int quality, Bytes exif,
                                                      const std::vector<std::uint8_t>& profile) {
  const PlaneView& brightness = planes.front().view;
  for (const CanvasPlane& plane : planes) fillLastBlocks(plane.view);
  JpegWriter writer;
  if (!writer.startPlanes({brightness.width, brightness.height, quality, planes.size() == 1,
                           jpegChromaStep(quality)}) ||
      !writer.writeMetadata(exif, &profile) || !writePlanes(writer, planes) || !writer.finish())
    return std::nullopt;
  const Bytes written = writer.written();
  return std::vector<std::uint8_t>(written.begin(), written.end());
}

}  // namespace vecamera::device::imaging
