#include "device/imaging/pipeline/PlanarCanvas.h"

#include <algorithm>
#include <cmath>

namespace vecamera::device::imaging {
namespace {

constexpr std::size_t rowStep = 64;
constexpr int white = 255;
constexpr int neutral = 128;

/// From samples of the stored axis, each `storedStep` pixels, to those of the canvas axis.
AxisMap sampleMap(double stretch, double shift, double storedStep, int canvasStep) {
  return {stretch * storedStep / canvasStep, shift / canvasStep};
}

std::size_t samples(std::size_t pixels, int step) {
  return (pixels + static_cast<std::size_t>(step) - 1) / static_cast<std::size_t>(step);
}

std::optional<ScalePlan> planFor(const Placement& layout, std::size_t width, std::size_t height,
                                 const StoredComponent& stored, int step) {
  const AffineMap& map = layout.map;
  const bool swaps = layout.turn->swapsAxes;
  const AxisMap across =
      sampleMap(swaps ? map.b : map.a, swaps ? map.ty : map.tx, stored.stepX, step);
  const AxisMap down =
      sampleMap(swaps ? map.c : map.d, swaps ? map.tx : map.ty, stored.stepY, step);
  if (std::min(std::abs(across.scale), std::abs(down.scale)) < AxisWeights::minScale)
    return std::nullopt;
  const PixelRange columns{0, samples(width, step)};
  const PixelRange rows{0, samples(height, step)};
  return ScalePlan{AxisWeights(across, swaps ? rows : columns,
                               samplesOf(layout.usable.columns, stored.stepX, stored.width)),
                   AxisWeights(down, swaps ? columns : rows,
                               samplesOf(layout.usable.rows, stored.stepY, stored.height)),
                   swaps};
}

/// The shares of samples that span `step` pixels; a last pixel that is not there is like the one
/// before it.
std::vector<double> sampleShares(const std::vector<double>& pixels, int step) {
  if (step == 1 || pixels.empty()) return pixels;
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
  CanvasPlane plane{{width, height, (width + rowStep - 1) / rowStep * rowStep, nullptr}, {}};
  plane.memory = ScratchBuffer(plane.view.strideBytes * height);
  plane.view.bytes = plane.memory.data();
  return plane;
}

}  // namespace

bool PlanarCanvas::takes(const Placement& layout, std::size_t width, std::size_t height) {
  return layout.shows() && layout.turn && layout.columns.count == width &&
         layout.rows.count == height;
}

PlanarCanvas::PlanarCanvas(const Placement& layout, std::size_t width, std::size_t height,
                           const std::vector<StoredComponent>& components, int chromaStep,
                           std::size_t bandRows)
    : width_(width),
      height_(height),
      coveredX_(layout.x),
      coveredY_(layout.y),
      chromaStep_(chromaStep) {
  std::optional<ScalePlan> plan;
  for (std::size_t i = 0; i < components.size(); ++i) {
    const StoredComponent& stored = components[i];
    // The two colours are usually alike.
    if (i < 2 || !(stored == components[i - 1]))
      plan = planFor(layout, width, height, stored, i == 0 ? 1 : chromaStep);
    ready_ = ready_ && plan;
    if (!ready_) return;
    scalers_.push_back(std::make_unique<PlaneScaler>(*plan, stored.width, stored.unit, bandRows));
    ready_ = scalers_.back()->ready();
  }
}

void PlanarCanvas::push(std::size_t component, const std::uint8_t* const* rows, std::size_t count) {
  scalers_[component]->push(rows, count);
}

std::vector<CanvasPlane> PlanarCanvas::finish() {
  const auto across = coverage(coveredX_, {0, width_});
  const auto down = coverage(coveredY_, {0, height_});
  std::vector<CanvasPlane> planes;
  for (auto& scaler : scalers_) {
    CanvasPlane plane = planeOf(scaler->resultWidth(), scaler->resultHeight());
    if (!plane.memory || !scaler->finish(plane.view)) return {};
    scaler.reset();
    const int step = planes.empty() ? 1 : chromaStep_;
    fade(plane.view, sampleShares(across, step), sampleShares(down, step),
         planes.empty() ? white : neutral);
    planes.push_back(std::move(plane));
  }
  return planes;
}

}  // namespace vecamera::device::imaging
