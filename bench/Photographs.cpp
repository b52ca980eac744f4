#include "bench/Photographs.h"

#include <libdeflate.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "bench/Floor.h"
#include "device/camera/TestScene.h"
#include "device/imaging/png/PngCodec.h"
#include "device/imaging/png/PngChunks.h"

namespace vecamera::bench {
namespace {

constexpr int quality = 92;
constexpr int onItsSide = 6;

/// The same numbers on every machine.
class Noise {
 public:
  /// About normally distributed, with a deviation of 3.4.
  int next() {
    int sum = 0;
    for (int i = 0; i < 4; ++i) {
      state_ = state_ * 6364136223846793005u + 1442695040888963407u;
      sum += static_cast<int>(state_ >> 33 & 7);
    }
    return (sum - 14) * 3 / 4;
  }

 private:
  std::uint64_t state_ = 20240501;
};

Raster noisyScene(unsigned width, unsigned height) {
  const Data scene =
      device::camera::generateTestScene(width, height, UIImageOrientation::right, 0, Dictionary());
  Raster raster = bareDecode(scene, 1);
  Noise noise;
  for (std::size_t i = 0; i < raster.bytes.size(); i += 3) {
    const int gray = noise.next();
    for (std::size_t channel = 0; channel < 3; ++channel)
      raster.bytes[i + channel] = static_cast<std::uint8_t>(
          std::clamp(raster.bytes[i + channel] + gray + noise.next() / 2, 0, 255));
  }
  return raster;
}

int paeth(int left, int above, int corner) {
  const int p = left + above - corner;
  const int a = std::abs(p - left);
  const int b = std::abs(p - above);
  const int c = std::abs(p - corner);
  if (a <= b && a <= c) return left;
  return b <= c ? above : corner;
}

using Row = std::vector<std::uint8_t>;

Row filteredRow(int filter, const Row& row, const Row& above) {
  Row filtered{static_cast<std::uint8_t>(filter)};
  for (std::size_t i = 0; i < row.size(); ++i) {
    const int left = i < 3 ? 0 : row[i - 3];
    const int corner = i < 3 ? 0 : above[i - 3];
    const int predicted[] = {0, left, above[i], (left + above[i]) / 2,
                             paeth(left, above[i], corner)};
    filtered.push_back(static_cast<std::uint8_t>(row[i] - predicted[filter]));
  }
  return filtered;
}

Row bestFilteredRow(const Row& row, const Row& above) {
  Row best;
  long least = 0;
  for (int filter = 0; filter < 5; ++filter) {
    Row candidate = filteredRow(filter, row, above);
    long sum = 0;
    for (std::size_t i = 1; i < candidate.size(); ++i)
      sum += std::abs(static_cast<std::int8_t>(candidate[i]));
    if (!best.empty() && sum >= least) continue;
    best = std::move(candidate);
    least = sum;
  }
  return best;
}

}  // namespace

Data photograph(unsigned width, unsigned height) {
  return Data(bareEncode(noisyScene(width, height), quality, onItsSide));
}

Data filteredPng(unsigned width, unsigned height) {
  const Raster raster = bareDecode(photograph(width, height), 1);
  Row filtered;
  Row above(std::size_t{width} * 3);
  for (std::size_t y = 0; y < raster.height; ++y) {
    const Row row(raster.row(y), raster.row(y) + above.size());
    const Row best = bestFilteredRow(row, above);
    filtered.insert(filtered.end(), best.begin(), best.end());
    above = row;
  }
  constexpr int usualLevel = 6;
  libdeflate_compressor* compressor = libdeflate_alloc_compressor(usualLevel);
  Row packed(libdeflate_zlib_compress_bound(compressor, filtered.size()));
  packed.resize(libdeflate_zlib_compress(compressor, filtered.data(), filtered.size(),
                                         packed.data(), packed.size()));
  libdeflate_free_compressor(compressor);
  constexpr std::string_view signature = "\x89PNG\r\n\x1A\n";
  Row png(signature.begin(), signature.end());
  const auto byte = [](unsigned number, int shift) {
    return static_cast<std::uint8_t>(number >> shift);
  };
  device::imaging::appendPngChunk(
      png, "IHDR",
      Row{byte(width, 24), byte(width, 16), byte(width, 8), byte(width, 0), byte(height, 24),
          byte(height, 16), byte(height, 8), byte(height, 0), 8, 2, 0, 0, 0});
  // Encoders that stream write the pixels in many chunks.
  constexpr std::size_t chunkBytes = 8192;
  for (std::size_t at = 0; at < packed.size(); at += chunkBytes)
    device::imaging::appendPngChunk(
        png, "IDAT", std::span(packed).subspan(at, std::min(chunkBytes, packed.size() - at)));
  device::imaging::appendPngChunk(png, "IEND", {});
  return Data(std::move(png));
}

}  // namespace vecamera::bench
