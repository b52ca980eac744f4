#include "device/imaging/resample/AxisWeights.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace vecamera::device::imaging {
namespace {

/// Differences in place below this, in pixels, cannot be seen.
constexpr double tolerance = 1e-3;
constexpr double lanczosLobes = 3;
constexpr double cubicReach = 2;

double sinc(double x) {
  const double angle = std::numbers::pi * x;
  return std::abs(x) < 1e-9 ? 1 : std::sin(angle) / angle;
}

/// The kernel at evenly spaced places, between which it is interpolated linearly: sines take longer
/// than the convolution of a small picture does.
class LanczosTable {
 public:
  LanczosTable() {
    for (std::size_t i = 0; i < values_.size(); ++i) {
      const double x = static_cast<double>(i) / stepsPerUnit;
      values_[i] = x < lanczosLobes ? sinc(x) * sinc(x / lanczosLobes) : 0;
    }
  }

  double at(double x) const {
    const double place = std::abs(x) * stepsPerUnit;
    const auto step = static_cast<std::size_t>(place);
    if (step + 1 >= values_.size()) return 0;
    const double fraction = place - static_cast<double>(step);
    return values_[step] + (values_[step + 1] - values_[step]) * fraction;
  }

 private:
  static constexpr std::size_t stepsPerUnit = 1024;
  std::array<double, static_cast<std::size_t>(lanczosLobes) * stepsPerUnit + 1> values_;
};

double lanczos(double x) {
  static const LanczosTable table;
  return table.at(x);
}

int rounded(double number) {
  return static_cast<int>(number + (number < 0 ? -0.5 : 0.5));
}

double catmullRom(double x) {
  x = std::abs(x);
  if (x < 1) return 1 + x * x * (1.5 * x - 2.5);
  return x < cubicReach ? 2 + x * (-4 + x * (2.5 - 0.5 * x)) : 0;
}

bool movesByWholePixels(const AxisPlacement& axis) {
  return std::abs(std::abs(axis.scale) - 1) * static_cast<double>(axis.usable.end()) < tolerance &&
         std::abs(axis.offset - std::round(axis.offset)) < tolerance;
}

}  // namespace

AxisWeights::AxisWeights(const AxisPlacement& axis) : mirrored_(axis.scale < 0) {
  const PixelRange& window = axis.window;
  results_.reserve(window.count);
  const bool copies = movesByWholePixels(axis);
  const double scale = std::abs(axis.scale);
  const bool shrinks = scale < 1;
  const double step = shrinks ? scale : 1;
  const double reach = (shrinks ? lanczosLobes : cubicReach) / step;
  Workspace work;
  std::vector<double>& taps = work.taps;
  for (std::size_t i = 0; i < window.count; ++i) {
    const std::size_t pixel = window.first + (mirrored_ ? window.count - 1 - i : i);
    const double centre = (static_cast<double>(pixel) + 0.5 - axis.offset) / axis.scale;
    if (copies) {
      taps.assign(1, 1.0);
      append(static_cast<std::ptrdiff_t>(std::floor(centre)), work, axis.usable);
      continue;
    }
    // The centre of stored sample n is at n + 0.5.
    const double first = std::ceil(centre - reach - 0.5);
    const double last = std::floor(centre + reach - 0.5);
    taps.clear();
    for (double n = first; n <= last; ++n) {
      const double x = (n + 0.5 - centre) * step;
      taps.push_back(shrinks ? lanczos(x) : catmullRom(x));
    }
    append(static_cast<std::ptrdiff_t>(first), work, axis.usable);
  }
}

void AxisWeights::append(std::ptrdiff_t first, Workspace& work, const PixelRange& usable) {
  const std::vector<double>& taps = work.taps;
  double sum = 0;
  for (const double tap : taps) sum += tap;
  const auto low = static_cast<std::ptrdiff_t>(usable.first);
  const auto high = static_cast<std::ptrdiff_t>(usable.end()) - 1;
  const auto clampedAt = [&](std::size_t i) {
    return static_cast<std::size_t>(std::clamp(first + static_cast<std::ptrdiff_t>(i), low, high));
  };
  const std::size_t firstPair = clampedAt(0) / 2;
  const std::size_t pairs = clampedAt(taps.size() - 1) / 2 + 1 - firstPair;
  std::vector<double>& exact = work.exact;
  exact.assign(pairs * 2, 0.0);
  const double toFixed = one / sum;
  for (std::size_t i = 0; i < taps.size(); ++i)
    exact[clampedAt(i) - 2 * firstPair] += taps[i] * toFixed;
  std::vector<int>& fixed = work.fixed;
  fixed.resize(exact.size());
  int total = 0;
  std::size_t largest = 0;
  for (std::size_t i = 0; i < exact.size(); ++i) {
    fixed[i] = rounded(exact[i]);
    total += fixed[i];
    if (fixed[i] > fixed[largest]) largest = i;
  }
  fixed[largest] += one - total;
  results_.push_back({firstPair, weights_.size(), pairs});
  maxPairs_ = std::max(maxPairs_, pairs);
  for (std::size_t i = 0; i < fixed.size(); i += 2)
    weights_.push_back(static_cast<std::uint32_t>(static_cast<std::uint16_t>(fixed[i])) |
                       static_cast<std::uint32_t>(static_cast<std::uint16_t>(fixed[i + 1])) << 16);
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
  for (Result& result : results_) result.firstPair -= first / 2;
}

}  // namespace vecamera::device::imaging
