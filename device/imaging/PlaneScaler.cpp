#include "device/imaging/PlaneScaler.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "device/imaging/RowMixing.h"

namespace vecamera::device {
namespace {

/// Results are mixed, and laid as columns, in strips of so many.
constexpr std::size_t stripRows = 16;
constexpr std::size_t secondPassBand = 16;

constexpr std::size_t roundedUp(std::size_t number, std::size_t step) {
  return (number + step - 1) / step * step;
}

/// Rows of a strip, in the places that the canvas has them in.
struct Strip {
  const std::uint8_t* bytes;
  std::size_t strideBytes;
  std::size_t firstPlace;
  std::size_t count;
};

void layBytesAsColumns(const Strip& strip, std::size_t length, const PlaneView& to) {
  for (std::size_t at = 0; at < length; at += 16) {
    const std::size_t rows = std::min<std::size_t>(16, length - at);
    if (rows == 16 && strip.count == 16) {
      transpose16(strip.bytes + at, strip.strideBytes, to.row(at) + strip.firstPlace,
                  to.strideBytes);
      continue;
    }
    std::array<std::uint8_t, 256> block;
    transpose16(strip.bytes + at, strip.strideBytes, block.data(), 16);
    for (std::size_t row = 0; row < rows; ++row)
      std::memcpy(to.row(at + row) + strip.firstPlace, block.data() + 16 * row, strip.count);
  }
}

void layPixelsAsColumns(const Strip& strip, std::size_t length, const PlaneView& to) {
  constexpr std::size_t pixelBytes = 4;
  const std::size_t wholeLength = strip.count == stripRows ? length / 4 * 4 : 0;
  for (std::size_t at = 0; at < wholeLength; at += 4)
    for (std::size_t i = 0; i < stripRows; i += 4)
      transposePixels4(strip.bytes + i * strip.strideBytes + at * pixelBytes, strip.strideBytes,
                       to.row(at) + (strip.firstPlace + i) * pixelBytes, to.strideBytes);
  for (std::size_t at = wholeLength; at < length; ++at) {
    std::uint8_t* column = to.row(at) + strip.firstPlace * pixelBytes;
    for (std::size_t i = 0; i < strip.count; ++i)
      std::memcpy(column + i * pixelBytes, strip.bytes + i * strip.strideBytes + at * pixelBytes,
                  pixelBytes);
  }
}

void layAsRows(const Strip& strip, std::size_t rowBytes, const PlaneView& to) {
  for (std::size_t i = 0; i < strip.count; ++i)
    std::memcpy(to.row(strip.firstPlace + i), strip.bytes + i * strip.strideBytes, rowBytes);
}

}  // namespace

/// Mixes rows of bytes into result rows. Rows come in order; what is kept of them is what results
/// to come still need.
class RowMixer {
 public:
  RowMixer(std::size_t rowBytes, const AxisWeights& weights, std::size_t bandRows)
      : weights_(weights),
        rowBytes_(rowBytes),
        tiles_((rowBytes + tileBytes - 1) / tileBytes),
        ringPairs_(std::bit_ceil(weights.mostPairs() + bandRows / 2 + 1)),
        ring_(tiles_ * ringPairs_ * tilePairNumbers * sizeof(std::int16_t)),
        strip_(tiles_ * tileBytes * stripRows) {}

  bool ready() const { return ring_ && strip_; }
  bool finished() const { return nextResult_ == weights_.count(); }

  /// Takes `count` more rows, an even number but for the last ones, and gives each strip that is
  /// complete to `done`.
  template <typename Done>
  void push(const std::uint8_t* const* rows, std::size_t count, Done done) {
    const std::size_t endPair = endPair_ + (count + 1) / 2;
    bool taken = false;
    do {
      const std::size_t first = nextResult_;
      const std::size_t last = endOfChunk(endPair);
      for (std::size_t tile = 0; tile < tiles_; ++tile) {
        const TileRing ring = ringOf(tile);
        if (!taken) take(tile, ring, rows, count);
        if (first < last)
          mixing_.mix(ring, weights_, first, last,
                      strip_.data() + rowInStrip(first) * stride() + tile * tileBytes,
                      weights_.mirrored() ? -stride() : stride());
      }
      taken = true;
      nextResult_ = last;
      if (last > first && endsStrip(last - 1)) done(stripOf(last - 1));
    } while (nextResult_ < weights_.count() && weights_.endPair(nextResult_) <= endPair);
    endPair_ = endPair;
  }

 private:
  std::ptrdiff_t stride() const { return static_cast<std::ptrdiff_t>(tiles_ * tileBytes); }

  TileRing ringOf(std::size_t tile) const {
    auto* numbers = reinterpret_cast<std::int16_t*>(ring_.data());
    return {numbers + tile * ringPairs_ * tilePairNumbers, ringPairs_ - 1};
  }

  /// Where the result lies on the canvas.
  std::size_t place(std::size_t result) const {
    return weights_.mirrored() ? weights_.count() - 1 - result : result;
  }
  std::ptrdiff_t rowInStrip(std::size_t result) const {
    return static_cast<std::ptrdiff_t>(place(result) % stripRows);
  }
  bool endsStrip(std::size_t result) const {
    return result + 1 == weights_.count() ||
           place(result) / stripRows != place(result + 1) / stripRows;
  }
  Strip stripOf(std::size_t result) const {
    const std::size_t first = place(result) / stripRows * stripRows;
    return {strip_.data(), tiles_ * tileBytes, first,
            std::min(stripRows, weights_.count() - first)};
  }

  /// The results of the current strip that the pairs so far allow.
  std::size_t endOfChunk(std::size_t endPair) const {
    std::size_t last = nextResult_;
    while (last < weights_.count() && weights_.endPair(last) <= endPair)
      if (endsStrip(last++)) break;
    return last;
  }

  void take(std::size_t tile, const TileRing& ring, const std::uint8_t* const* rows,
            std::size_t count) const {
    const std::size_t at = tile * tileBytes;
    const std::size_t length = std::min(tileBytes, rowBytes_ - at);
    for (std::size_t row = 0; row < count; row += 2) {
      const std::uint8_t* upper = rows[row] + at;
      const std::uint8_t* lower = (row + 1 < count ? rows[row + 1] : rows[row]) + at;
      std::array<std::uint8_t, 2 * tileBytes> copies;
      if (length < tileBytes) {
        copies.fill(0);
        std::memcpy(copies.data(), upper, length);
        std::memcpy(copies.data() + tileBytes, lower, length);
        upper = copies.data();
        lower = copies.data() + tileBytes;
      }
      mixing_.interleave(upper, lower, ring.pair(endPair_ + row / 2));
    }
  }

  const RowMixing& mixing_ = rowMixing();
  const AxisWeights& weights_;
  std::size_t rowBytes_;
  std::size_t tiles_;
  std::size_t ringPairs_;
  Scratch ring_;
  Scratch strip_;
  std::size_t endPair_ = 0;
  std::size_t nextResult_ = 0;
};

PlaneScaler::PlaneScaler(ScalePlan plan, std::size_t width, std::size_t unitBytes,
                         std::size_t bandRows)
    : plan_(std::move(plan)),
      unitBytes_(unitBytes),
      columns_(plan_.alongColumns.needed()),
      rows_(plan_.alongRows.needed()) {
  columns_.count = std::min(columns_.end(), width) - columns_.first;
  plan_.alongColumns.startAt(columns_.first);
  plan_.alongRows.startAt(rows_.first);
  mixer_ = std::make_unique<RowMixer>(columns_.count * unitBytes, plan_.alongRows, bandRows);
  turned_ = {plan_.alongRows.count(), columns_.count,
             roundedUp(plan_.alongRows.count() * unitBytes, tileBytes), nullptr};
  turnedMemory_ = Scratch(turned_.strideBytes * turned_.height);
  turned_.bytes = turnedMemory_.data();
  ready_ = mixer_->ready() && turnedMemory_;
}

PlaneScaler::~PlaneScaler() = default;

void PlaneScaler::push(const std::uint8_t* const* rows, std::size_t count) {
  const std::size_t first = pushedRows_;
  pushedRows_ += count;
  if (pushedRows_ <= rows_.first || first >= rows_.end()) return;
  const std::size_t skipped = rows_.first - std::min(rows_.first, first);
  std::array<const std::uint8_t*, 64> pointers;
  for (std::size_t at = skipped; at < count;) {
    const std::size_t now = std::min(count - at, pointers.size());
    for (std::size_t i = 0; i < now; ++i) pointers[i] = rows[at + i] + columns_.first * unitBytes_;
    mixer_->push(pointers.data(), now, [&](const Strip& strip) {
      (unitBytes_ == 1 ? layBytesAsColumns : layPixelsAsColumns)(strip, columns_.count, turned_);
    });
    at += now;
  }
}

bool PlaneScaler::finish(const PlaneView& result) {
  if (!mixer_->finished()) return false;
  mixer_.reset();
  RowMixer mixer(turned_.width * unitBytes_, plan_.alongColumns, secondPassBand);
  if (!mixer.ready()) return false;
  std::array<const std::uint8_t*, secondPassBand> rows;
  for (std::size_t y = 0; y < turned_.height; y += secondPassBand) {
    const std::size_t count = std::min(secondPassBand, turned_.height - y);
    for (std::size_t i = 0; i < count; ++i) rows[i] = turned_.row(y + i);
    mixer.push(rows.data(), count, [&](const Strip& strip) {
      if (plan_.swapsAxes)
        layAsRows(strip, turned_.width * unitBytes_, result);
      else
        (unitBytes_ == 1 ? layBytesAsColumns : layPixelsAsColumns)(strip, turned_.width, result);
    });
  }
  return mixer.finished();
}

}  // namespace vecamera::device
