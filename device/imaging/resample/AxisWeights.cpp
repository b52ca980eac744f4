#include "device/imaging/resample/AxisWeights.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <numeric>

namespace vecamera::device::imaging {
namespace {

constexpr double lanczosLobes = 3;
constexpr double cubicRadius = 2;

double sinc(double x) {
  const double angle = std::numbers::pi * x;
  return std::abs(x) < 1e-9 ? 1 : std::sin(angle) / angle;
}

/// Interpolated linearly between evenly spaced places: sines take longer than the convolution of a
/// small picture does.
double lanczos(double x) {
  constexpr std::size_t stepsPerUnit = 1024;
  static const auto values = [] {
    std::array<double, static_cast<std::size_t>(lanczosLobes) * stepsPerUnit + 1> kernel;
    for (std::size_t i = 0; i < kernel.size(); ++i) {
      const double at = static_cast<double>(i) / stepsPerUnit;
      kernel[i] = at < lanczosLobes ? sinc(at) * sinc(at / lanczosLobes) : 0;
    }
    return kernel;
  }();
  const double place = std::abs(x) * stepsPerUnit;
  const auto step = static_cast<std::size_t>(place);
  if (step + 1 >= values.size()) return 0;
  return values[step] + (values[step + 1] - values[step]) * (place - static_cast<double>(step));
}

double catmullRom(double x) {
  x = std::abs(x);
  if (x < 1) return 1 + x * x * (1.5 * x - 2.5);
  return x < cubicRadius ? 2 + x * (-4 + x * (2.5 - 0.5 * x)) : 0;
}

}  // namespace

AxisWeights::AxisWeights(const AxisPlacement& axis) : mirrored_(axis.scale < 0) {
  const PixelRange& window = axis.window;
  results_.reserve(window.count);
  const bool copies = axis.movesByWholePixels();
  const double scale = std::abs(axis.scale);
  const bool shrinks = scale < 1;
  const double step = shrinks ? scale : 1;
  const double radius = (shrinks ? lanczosLobes : cubicRadius) / step;
  // Reused for one result after the other.
  std::vector<double> taps;
  std::vector<double> sums;
  for (std::size_t i = 0; i < window.count; ++i) {
    const std::size_t pixel = window.first + (mirrored_ ? window.count - 1 - i : i);
    const double centre = (static_cast<double>(pixel) + 0.5 - axis.offset) / axis.scale;
    if (copies) {
      taps.assign(1, 1.0);
      append(static_cast<std::ptrdiff_t>(std::floor(centre)), taps, sums, axis.source);
      continue;
    }
    // The centre of stored sample n is at n + 0.5.
    const double first = std::ceil(centre - radius - 0.5);
    const double last = std::floor(centre + radius - 0.5);
    taps.clear();
    for (double n = first; n <= last; ++n) {
      const double x = (n + 0.5 - centre) * step;
      taps.push_back(shrinks ? lanczos(x) : catmullRom(x));
    }
    append(static_cast<std::ptrdiff_t>(first), taps, sums, axis.source);
  }
}

void AxisWeights::append(std::ptrdiff_t first, const std::vector<double>& taps,
                         std::vector<double>& sums, const PixelRange& source) {
  const double total = std::accumulate(taps.begin(), taps.end(), 0.0);
  const auto low = static_cast<std::ptrdiff_t>(source.first);
  const auto high = static_cast<std::ptrdiff_t>(source.end()) - 1;
  const auto clampedAt = [&](std::size_t i) {
    return static_cast<std::size_t>(std::clamp(first + static_cast<std::ptrdiff_t>(i), low, high));
  };
  const std::size_t firstPair = clampedAt(0) / 2;
  const std::size_t pairs = clampedAt(taps.size() - 1) / 2 + 1 - firstPair;
  sums.assign(pairs * 2, 0.0);
  const double toFixed = one / total;
  for (std::size_t i = 0; i < taps.size(); ++i)
    sums[clampedAt(i) - 2 * firstPair] += taps[i] * toFixed;
  for (double& sum : sums) sum = std::trunc(sum + (sum < 0 ? -0.5 : 0.5));
  *std::max_element(sums.begin(), sums.end()) +=
      one - std::accumulate(sums.begin(), sums.end(), 0.0);
  results_.push_back({firstPair, weights_.size(), pairs});
  maxPairs_ = std::max(maxPairs_, pairs);
  const auto word = [&](std::size_t i) {
    return std::uint32_t{static_cast<std::uint16_t>(static_cast<int>(sums[i]))};
  };
  for (std::size_t i = 0; i < sums.size(); i += 2) weights_.push_back(word(i) | word(i + 1) << 16);
}

PixelRange AxisWeights::needed() const {
  if (results_.empty()) return {};
  std::size_t first = results_.front().firstPair;
  std::size_t last = 0;
  for (std::size_t i = 0; i < results_.size(); ++i) {
    first = std::min(first, results_[i].firstPair);
    last = std::max(last, endPair(i));
  }
  return {2 * first, 2 * (last - first)};
}

void AxisWeights::startAt(std::size_t first) {
  for (Taps& taps : results_) taps.firstPair -= first / 2;
}

}  // namespace vecamera::device::imaging
