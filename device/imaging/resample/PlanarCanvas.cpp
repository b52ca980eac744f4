#include "device/imaging/resample/PlanarCanvas.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace vecamera::device::imaging {
namespace {

constexpr std::size_t rowAlignment = 64;
constexpr int white = 255;
constexpr int neutral = 128;

/// The shares of samples that span so many pixels, one or two; a last pixel that is not there is
/// like the one before it.
std::vector<double> sampleShares(const std::vector<double>& pixels, int subsampling) {
  if (subsampling == 1 || pixels.empty()) return pixels;
  std::vector<double> shares;
  for (std::size_t i = 0; i < pixels.size(); i += 2)
    shares.push_back((pixels[i] + pixels[std::min(i + 1, pixels.size() - 1)]) / 2);
  return shares;
}

std::uint8_t faded(std::uint8_t value, double share, int background) {
  return static_cast<std::uint8_t>(std::lround(background + (value - background) * share));
}

void fade(const PlaneView& plane, const std::vector<double>& across,
          const std::vector<double>& down, int background) {
  for (std::size_t x = 0; x < across.size(); ++x) {
    if (across[x] == 1) continue;
    for (std::size_t y = 0; y < plane.height; ++y)
      plane.row(y)[x] = faded(plane.row(y)[x], across[x], background);
  }
  for (std::size_t y = 0; y < down.size(); ++y) {
    if (down[y] == 1) continue;
    for (std::size_t x = 0; x < plane.width; ++x)
      plane.row(y)[x] = faded(plane.row(y)[x], down[y], background);
  }
}

CanvasPlane planeOf(std::size_t width, std::size_t height) {
  CanvasPlane plane{
      {width, height, (width + rowAlignment - 1) / rowAlignment * rowAlignment, nullptr}, {}};
  plane.memory = ScratchBuffer(plane.view.strideBytes * height);
  plane.view.bytes = plane.memory.data();
  return plane;
}

}  // namespace

ImageResult<PlanarCanvas> PlanarCanvas::create(const AlignedPlacement& placement,
                                               const std::vector<StoredComponent>& components,
                                               int chromaSubsampling, std::size_t bandRows) {
  PlanarCanvas canvas(placement, chromaSubsampling);
  std::optional<ScalePlan> plan;
  for (std::size_t i = 0; i < components.size(); ++i) {
    const StoredComponent& stored = components[i];
    // The two components of chroma are usually alike.
    if (i < 2 || !(stored == components[i - 1]))
      plan.emplace(placement.sampled(stored.grid, i == 0 ? 1 : chromaSubsampling));
    auto scaler = PlaneScaler::create(*plan, stored.grid.width, stored.format, bandRows);
    if (!scaler) return scaler.failure();
    canvas.scalers_.push_back(*std::move(scaler));
  }
  return canvas;
}

void PlanarCanvas::push(std::size_t component, const std::uint8_t* const* rows, std::size_t count) {
  scalers_[component]->push(rows, count);
}

ImageResult<std::vector<CanvasPlane>> PlanarCanvas::finish() {
  const auto across = placement_.x().coverage();
  const auto down = placement_.y().coverage();
  std::vector<CanvasPlane> planes;
  for (auto& scaler : scalers_) {
    CanvasPlane plane = planeOf(scaler->resultWidth(), scaler->resultHeight());
    if (!plane.memory) return Failure(ImageError::outOfMemory);
    if (const auto finished = scaler->finish(plane.view); !finished) return finished.failure();
    scaler.reset();
    const int subsampling = planes.empty() ? 1 : chromaSubsampling_;
    fade(plane.view, sampleShares(across, subsampling), sampleShares(down, subsampling),
         planes.empty() ? white : neutral);
    planes.push_back(std::move(plane));
  }
  return planes;
}

}  // namespace vecamera::device::imaging
