#include "device/imaging/comparison/PerceptualHash.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdio>
#include <vector>

#include "device/imaging/codecs/Codecs.h"

namespace vecamera::device::imaging {
namespace {

/// Areas along each side, and frequencies along each axis that count.
constexpr std::size_t areas = 32;
constexpr std::size_t frequencies = 8;

/// Luma has this many bits after the point, and cosines the other.
constexpr int lumaShift = 8;
constexpr int cosineShift = 14;

template <std::size_t side>
using Square = std::array<std::array<std::int64_t, side>, side>;
using LumaGrid = Square<areas>;

/// What a coefficient has to exceed the median by, in levels of luma. The transform is orthonormal,
/// so that noise of one level in each area is one level in each coefficient. A picture of a few
/// hundred pixels that is encoded at quality 50 keeps below this.
constexpr std::int64_t margin = std::int64_t{2} << lumaShift;

/// 2^14 cos(k pi / 64), rounded, for k from 0 to 32.
constexpr std::array<std::int64_t, areas + 1> quarterWave = {
    16384, 16364, 16305, 16207, 16069, 15893, 15679, 15426, 15137, 14811, 14449,
    14053, 13623, 13160, 12665, 12140, 11585, 11003, 10394, 9760,  9102,  8423,
    7723,  7005,  6270,  5520,  4756,  3981,  3196,  2404,  1606,  804,   0};

std::int64_t cosine(std::size_t k) {
  k %= 4 * areas;
  if (k > 2 * areas) k = 4 * areas - k;
  return k > areas ? -quarterWave[2 * areas - k] : quarterWave[k];
}

/// The sample of the basis function, 2^14 times its value but for the factor sqrt(2 / 32) = 1 / 4.
std::int64_t basis(std::size_t frequency, std::size_t at) {
  constexpr std::int64_t inverseRootOf2 = 11585;
  return frequency == 0 ? inverseRootOf2 : cosine((2 * at + 1) * frequency);
}

/// Rec. 601 luma of a premultiplied pixel over white, with eight bits after the point.
std::int64_t lumaOf(const std::uint8_t* rgba) {
  const std::int64_t white = 255 - rgba[3];
  return 77 * (rgba[0] + white) + 150 * (rgba[1] + white) + 29 * (rgba[2] + white);
}

/// Averages luma over the areas of a picture that comes row by row. A pixel that lies in two areas
/// counts in each with its part. In units of 1/32 pixel all borders are whole numbers.
class AreaAverage {
 public:
  AreaAverage(std::size_t width, std::size_t height)
      : width_(width), height_(height), sumBefore_(width + 1) {}

  void push(const std::uint32_t* row) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(row);
    for (std::size_t x = 0; x < width_; ++x)
      sumBefore_[x + 1] = sumBefore_[x] + lumaOf(bytes + 4 * x);
    std::array<std::int64_t, areas> sums;
    for (std::size_t x = 0; x < areas; ++x)
      sums[x] = sumUpTo((x + 1) * width_) - sumUpTo(x * width_);

    const std::size_t end = (y_ + 1) * areas;
    for (std::size_t from = y_++ * areas; from < end;) {
      const std::size_t y = from / height_;
      const std::size_t to = std::min(end, (y + 1) * height_);
      for (std::size_t x = 0; x < areas; ++x)
        sums_[y][x] += static_cast<std::int64_t>(to - from) * sums[x];
      from = to;
    }
  }

  LumaGrid result() const {
    LumaGrid grid;
    const auto area = static_cast<std::int64_t>(width_ * height_);
    for (std::size_t y = 0; y < areas; ++y)
      for (std::size_t x = 0; x < areas; ++x) grid[y][x] = (sums_[y][x] + area / 2) / area;
    return grid;
  }

 private:
  /// The luma of the row from its start, 32 times the sum; the end is in 1/32 pixels.
  std::int64_t sumUpTo(std::size_t end) const {
    const std::size_t pixel = end / areas;
    const auto rest = static_cast<std::int64_t>(end % areas);
    const std::int64_t whole = std::int64_t{areas} * sumBefore_[pixel];
    return rest == 0 ? whole : whole + rest * (sumBefore_[pixel + 1] - sumBefore_[pixel]);
  }

  const std::size_t width_;
  const std::size_t height_;
  std::size_t y_ = 0;
  /// Of the latest row, for each pixel the luma of those before it.
  std::vector<std::int64_t> sumBefore_;
  LumaGrid sums_{};
};

ImageResult<LumaGrid> averageOf(Bytes bytes, const PictureHeader& header,
                                const ThreadBudget& threads) {
  const double spanned = static_cast<double>(std::min(header.width, header.height)) / double{areas};
  const auto scale = decodeScaleFor(header, spanned);
  auto rows = openRows(bytes, header, scale, threads);
  if (!rows) {
    if (rows.error() != ImageError::unsupported) return rows.failure();
    const auto whole = decode(bytes, header, {}, scale, threads);
    if (!whole) return whole.failure();
    AreaAverage average(whole->width(), whole->height());
    for (std::size_t y = 0; y < whole->height(); ++y) average.push(whole->row(y));
    return average.result();
  }
  RowSource& source = **rows;
  AreaAverage average(source.width(), source.height());
  constexpr std::size_t bandRows = 16;
  std::vector<std::uint32_t> band(source.width() * bandRows);
  for (std::size_t y = 0; y < source.height(); y += bandRows) {
    const std::size_t count = std::min(bandRows, source.height() - y);
    if (auto read = source.read(band.data(), count); !read) return read.failure();
    for (std::size_t i = 0; i < count; ++i) average.push(band.data() + i * source.width());
  }
  if (auto finished = source.finish(); !finished) return finished.failure();
  return average.result();
}

/// Averaging and orienting may change places, as the areas are symmetric.
LumaGrid orientedGrid(const LumaGrid& stored, const Orientation& orientation) {
  LumaGrid grid;
  for (std::size_t y = 0; y < areas; ++y)
    for (std::size_t x = 0; x < areas; ++x) {
      const std::size_t toX = orientation.swapsAxes ? y : x;
      const std::size_t toY = orientation.swapsAxes ? x : y;
      grid[orientation.mirrorsY ? areas - 1 - toY : toY]
          [orientation.mirrorsX ? areas - 1 - toX : toX] = stored[y][x];
    }
  return grid;
}

/// The lowest coefficients of the orthonormal two-dimensional transform (DCT-II), in the units of
/// the grid.
Square<frequencies> lowestCoefficients(const LumaGrid& grid) {
  std::array<std::array<std::int64_t, frequencies>, areas> alongX{};
  for (std::size_t y = 0; y < areas; ++y)
    for (std::size_t u = 0; u < frequencies; ++u)
      for (std::size_t x = 0; x < areas; ++x) alongX[y][u] += grid[y][x] * basis(u, x);
  Square<frequencies> coefficients{};
  for (std::size_t v = 0; v < frequencies; ++v)
    for (std::size_t u = 0; u < frequencies; ++u) {
      for (std::size_t y = 0; y < areas; ++y) coefficients[v][u] += alongX[y][u] * basis(v, y);
      // 2^28 of the two cosines, and 1 / 16 of their factors.
      coefficients[v][u] >>= 2 * cosineShift + 4;
    }
  return coefficients;
}

PerceptualHash hashOf(const Square<frequencies>& coefficients) {
  std::vector<std::int64_t> values;
  for (const auto& row : coefficients) values.insert(values.end(), row.begin(), row.end());
  auto sorted = values;
  const auto middle = sorted.begin() + 1 + static_cast<std::ptrdiff_t>(sorted.size() / 2 - 1);
  std::nth_element(sorted.begin() + 1, middle, sorted.end());
  PerceptualHash hash;
  for (const auto value : values) hash.bits = hash.bits << 1 | (value > *middle + margin ? 1 : 0);
  return hash;
}

}  // namespace

ImageResult<PerceptualHash> perceptualHash(Bytes bytes, const PictureHeader& header,
                                           const ThreadBudget& threads) {
  const auto grid = averageOf(bytes, header, threads);
  if (!grid) return grid.failure();
  return hashOf(lowestCoefficients(orientedGrid(*grid, orientationFor(header.orientation))));
}

int distanceBetween(PerceptualHash a, PerceptualHash b) {
  return std::popcount(a.bits ^ b.bits);
}

std::string toText(PerceptualHash hash) {
  std::array<char, 17> text{};
  std::snprintf(text.data(), text.size(), "%016llx", static_cast<unsigned long long>(hash.bits));
  return text.data();
}

std::optional<PerceptualHash> perceptualHashFromText(std::string_view text) {
  constexpr std::size_t digits = 16;
  PerceptualHash hash;
  const auto* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, hash.bits, 16);
  if (text.size() != digits || error != std::errc() || stop != end) return std::nullopt;
  return hash;
}

}  // namespace vecamera::device::imaging
