#include "bench/Reference.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "bench/Baseline.h"
#include "device/imaging/codecs/Codecs.h"

namespace vecamera::bench {
namespace {

FloatImage decoded(const Data& jpeg) {
  const Raster raster = bareDecode(jpeg, 1, RasterSpace::yCbCr);
  return {raster.width, raster.height, {raster.bytes.begin(), raster.bytes.end()}};
}

std::vector<std::uint8_t> encoded(const FloatImage& colors, int quality) {
  Raster raster{static_cast<unsigned>(colors.width), static_cast<unsigned>(colors.height), {}};
  for (const float value : colors.values)
    raster.bytes.push_back(static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0F, 255.0F))));
  return bareEncode(raster, quality, 1, RasterSpace::yCbCr);
}

/// As orientation 6 shows it: the stored bottom left corner comes to the top left.
FloatImage upright(const FloatImage& stored) {
  FloatImage result{stored.height, stored.width, std::vector<float>(stored.values.size())};
  for (std::size_t y = 0; y < result.height; ++y)
    for (std::size_t x = 0; x < result.width; ++x)
      std::copy_n(&stored.values[((stored.height - 1 - x) * stored.width + y) * 3], 3,
                  &result.values[(y * result.width + x) * 3]);
  return result;
}

double lanczos(double x) {
  if (std::abs(x) < 1e-9) return 1;
  if (std::abs(x) >= 3) return 0;
  const double angle = std::numbers::pi * x;
  return 3 * std::sin(angle) * std::sin(angle / 3) / (angle * angle);
}

/// Shrinks the height and transposes the result; twice, it shrinks both sides.
FloatImage shrunkAndTransposed(const FloatImage& from, std::size_t height) {
  FloatImage to{height, from.width, std::vector<float>(height * from.width * 3)};
  const double factor = static_cast<double>(height) / static_cast<double>(from.height);
  const auto last = static_cast<long>(from.height) - 1;
  std::vector<double> sums(from.width * 3);
  for (std::size_t y = 0; y < height; ++y) {
    std::fill(sums.begin(), sums.end(), 0);
    const double centre = (static_cast<double>(y) + 0.5) / factor;
    double total = 0;
    for (long at = std::lround(centre - 3 / factor - 1); at <= std::lround(centre + 3 / factor + 1);
         ++at) {
      const double weight = lanczos((static_cast<double>(at) + 0.5 - centre) * factor);
      total += weight;
      if (weight == 0) continue;
      const float* row =
          &from.values[static_cast<std::size_t>(std::clamp(at, 0L, last)) * sums.size()];
      for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += weight * row[i];
    }
    for (std::size_t x = 0; x < from.width; ++x)
      for (std::size_t channel = 0; channel < 3; ++channel)
        to.values[(x * height + y) * 3 + channel] =
            static_cast<float>(sums[x * 3 + channel] / total);
  }
  return to;
}

}  // namespace

FloatImage lanczosReference(const Data& jpeg, unsigned side) {
  const auto header = device::imaging::readHeader(jpeg.bytes());
  FloatImage colors = decoded(jpeg);
  if (header && header->orientation == UIImageOrientation::right) colors = upright(colors);
  const double factor =
      static_cast<double>(side) / static_cast<double>(std::max(colors.width, colors.height));
  const auto shrunk = [&](std::size_t length) {
    return static_cast<std::size_t>(std::lround(static_cast<double>(length) * factor));
  };
  const std::size_t width = shrunk(colors.width);
  return shrunkAndTransposed(shrunkAndTransposed(colors, shrunk(colors.height)), width);
}

double psnr(const FloatImage& reference, const std::vector<std::uint8_t>& jpeg) {
  const FloatImage actual = decoded(Data(jpeg));
  if (actual.width != reference.width || actual.height != reference.height) return -1;
  double sum = 0;
  for (std::size_t i = 0; i < actual.values.size(); ++i) {
    const double difference = actual.values[i] - std::clamp(reference.values[i], 0.0F, 255.0F);
    sum += difference * difference;
  }
  return 10 * std::log10(255.0 * 255.0 * static_cast<double>(actual.values.size()) / sum);
}

double psnrCeiling(const FloatImage& reference, int quality) {
  return psnr(reference, encoded(reference, quality));
}

}  // namespace vecamera::bench
