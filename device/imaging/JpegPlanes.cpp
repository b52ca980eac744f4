#include "device/imaging/JpegPlanes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "device/imaging/JpegCodec.h"
#include "device/imaging/JpegStreams.h"
#include "device/imaging/Scratch.h"

namespace vecamera::device {
namespace {

constexpr std::size_t mostComponents = 3;

/// Every component gets at least so many rows in a band, which makes good use of the resampler.
constexpr std::size_t leastBandRows = 8;

/// Memory for a few rows of blocks of every component, and the rows in it.
class Band {
 public:
  /// For the picture that the reader has started to give planes of.
  explicit Band(const jpeg_decompress_struct& info) {
    const auto blocks = static_cast<std::size_t>(info.min_DCT_scaled_size);
    std::size_t least = SIZE_MAX;
    for (std::size_t i = 0; i < count(info); ++i) {
      blockRows_[i] = rowsOf(info.comp_info[i]);
      least = std::min(least, blockRows_[i]);
    }
    groups_ = (leastBandRows + least - 1) / least;
    // The resampler takes rows in pairs, and a component may have an odd number of them in a group.
    groups_ += groups_ % 2;
    readRows_ = static_cast<std::size_t>(info.max_v_samp_factor) * blocks;
    for (std::size_t i = 0; i < count(info); ++i) {
      const jpeg_component_info& component = info.comp_info[i];
      const std::size_t stride =
          (std::size_t{component.width_in_blocks} + MAX_SAMP_FACTOR) * DCTSIZE;
      memory_[i] = Scratch(stride * blockRows_[i] * groups_);
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

  /// Fills the band with the next rows of blocks; false where that fails.
  bool read(JpegReader& reader) {
    const jpeg_decompress_struct& info = reader.info();
    for (std::size_t group = 0; group < groups_ && info.output_scanline < info.output_height;
         ++group) {
      std::array<JSAMPARRAY, mostComponents> at{};
      for (std::size_t i = 0; i < count(info); ++i) at[i] = rows_[i].data() + group * blockRows_[i];
      if (!reader.readPlaneRows(at.data(), static_cast<unsigned>(readRows_))) return false;
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

  std::array<Scratch, mostComponents> memory_;
  std::array<std::vector<JSAMPROW>, mostComponents> rows_;
  std::array<std::size_t, mostComponents> blockRows_{};
  std::size_t groups_ = 0;
  std::size_t readRows_ = 0;
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

/// Whether the colours, read at that part of their stored size, have so many samples for each of
/// the canvas. The stretches are those of a stored pixel in samples of the canvas' colours.
bool colorsCover(const jpeg_decompress_struct& info, unsigned denominator, double stretchX,
                 double stretchY, double samples) {
  return std::all_of(info.comp_info + 1, info.comp_info + info.num_components,
                     [&](const jpeg_component_info& color) {
                       const int stepX = info.max_h_samp_factor / color.h_samp_factor;
                       const int stepY = info.max_v_samp_factor / color.v_samp_factor;
                       return samples * stretchX * stepX * denominator <= 1 &&
                              samples * stretchY * stepY * denominator <= 1;
                     });
}

/// At what part of their stored size the colours are read. It may be coarser than that of the
/// brightness, with somewhat more left of what is too fine, which in colours is hardly seen.
unsigned colorDenominator(const jpeg_decompress_struct& info, unsigned denominator, double stretchX,
                          double stretchY) {
  constexpr double coarseSamples = 1.9;
  for (unsigned part = DCTSIZE; part > 1; part /= 2) {
    const double samples = part > denominator ? coarseSamples : jpegSamplesForPixel(part);
    if (colorsCover(info, part, stretchX, stretchY, samples)) return part;
  }
  return 1;
}

std::vector<StoredComponent> storedComponents(const jpeg_decompress_struct& info) {
  const auto step = [](int most, int own, int scaledBlock) {
    return static_cast<std::size_t>(most / own * DCTSIZE / scaledBlock);
  };
  std::vector<StoredComponent> components;
  for (int i = 0; i < info.num_components; ++i) {
    const jpeg_component_info& own = info.comp_info[i];
    components.push_back({own.downsampled_width, own.downsampled_height,
                          step(info.max_h_samp_factor, own.h_samp_factor, own.DCT_scaled_size),
                          step(info.max_v_samp_factor, own.v_samp_factor, own.DCT_scaled_size)});
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
                                               const Layout& layout, std::size_t width,
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
  const unsigned denominator =
      jpegDenominator(header, stretchX * header.width, stretchY * header.height);
  const unsigned colors =
      colorDenominator(reader.info(), denominator, stretchX / chromaStep, stretchY / chromaStep);
  // Before the reader starts, which decodes all of a progressive picture.
  const unsigned finest = std::min(denominator, colors);
  if (std::min(stretchX, stretchY) * finest / chromaStep < AxisWeights::leastScale)
    return std::nullopt;
  if (!reader.startPlanes(denominator, colors)) return failed();
  const jpeg_decompress_struct& info = reader.info();
  Band band(info);
  if (!band.ready()) return failed();
  const auto components = storedComponents(info);
  PlanarCanvas canvas(layout, width, height, components, chromaStep, band.mostRows());
  if (!canvas.ready()) return failed();
  for (std::size_t bands = 0; info.output_scanline < info.output_height; ++bands) {
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

}  // namespace vecamera::device
