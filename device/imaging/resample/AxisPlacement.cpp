#include "device/imaging/resample/AxisPlacement.h"

namespace vecamera::device::imaging {
namespace {

/// The samples, of which there are `count`, that show any of the pixels.
PixelRange samplesOf(const PixelRange& pixels, double step, std::size_t count) {
  // Steps may be thirds, which no double is exactly.
  constexpr double rounding = 1e-6;
  const auto first = static_cast<std::size_t>(static_cast<double>(pixels.first) / step + rounding);
  const auto end =
      static_cast<std::size_t>(std::ceil(static_cast<double>(pixels.end()) / step - rounding));
  return {std::min(first, count - 1), std::min(end, count) - std::min(first, count - 1)};
}

PixelRange canvasSamplesOf(const PixelRange& pixels, int canvasStep) {
  const auto step = static_cast<std::size_t>(canvasStep);
  const std::size_t first = pixels.first / step;
  return {first, (pixels.end() + step - 1) / step - first};
}

}  // namespace

AxisPlacement AxisPlacement::sampled(double step, std::size_t count, int canvasStep) const {
  return {scale * step / canvasStep,
          offset / canvasStep,
          count,
          samplesOf(source, step, count),
          canvasSamplesOf(window, canvasStep),
          {covered.low / canvasStep, covered.high / canvasStep}};
}

AxisPlacement AxisPlacement::unmirrored() const {
  if (scale > 0) return *this;
  AxisPlacement result = *this;
  result.scale = -scale;
  result.offset = offset + scale * static_cast<double>(length);
  result.source.first = length - source.end();
  return result;
}

bool AxisPlacement::movesByWholePixels() const {
  return std::abs(std::abs(scale) - 1) * static_cast<double>(source.end()) < placementTolerance &&
         std::abs(offset - std::round(offset)) < placementTolerance;
}

bool AxisPlacement::isIdentity() const {
  const PixelRange all{0, length};
  return source == all && window == all && covered == Extent{0, static_cast<double>(length)};
}

std::vector<double> AxisPlacement::coverage() const {
  const auto first = static_cast<double>(window.first);
  const auto last = first + static_cast<double>(window.count);
  if (covered.low <= first && covered.high >= last) return {};
  std::vector<double> shares(window.count, 1.0);
  for (std::size_t i : {std::size_t{0}, window.count - 1}) {
    const double low = first + static_cast<double>(i);
    shares[i] = std::clamp(std::min(covered.high, low + 1) - std::max(covered.low, low), 0.0, 1.0);
  }
  return shares;
}

}  // namespace vecamera::device::imaging
