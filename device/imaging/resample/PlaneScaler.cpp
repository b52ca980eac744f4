#include "device/imaging/resample/PlaneScaler.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <optional>

#include "device/imaging/resample/ResampleKernels.h"

namespace vecamera::device::imaging {
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

/// The processor's sixteen bytes are a row of a block of numbers.
template <typename Number>
void layAsColumns(const Strip& strip, std::size_t length, const PlaneView& to) {
  constexpr std::size_t side = 16 / sizeof(Number);
  constexpr auto transpose = sizeof(Number) == 1 ? transpose16 : transposeWords8;
  for (std::size_t at = 0; at < length; at += side)
    for (std::size_t first = 0; first < strip.count; first += side) {
      const std::uint8_t* from = strip.bytes + first * strip.strideBytes + at * sizeof(Number);
      const std::size_t place = (strip.firstPlace + first) * sizeof(Number);
      const std::size_t rows = std::min(side, length - at);
      const std::size_t columns = std::min(side, strip.count - first);
      if (rows == side && columns == side) {
        transpose(from, strip.strideBytes, to.row(at) + place, to.strideBytes);
        continue;
      }
      std::array<std::uint8_t, side * 16> block;
      transpose(from, strip.strideBytes, block.data(), 16);
      for (std::size_t row = 0; row < rows; ++row)
        std::memcpy(to.row(at + row) + place, block.data() + 16 * row, columns * sizeof(Number));
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

std::size_t bytesOf(SampleFormat unit) {
  return unit == SampleFormat::byte ? 1 : unit == SampleFormat::word ? 2 : 4;
}

/// Mixes rows of numbers into result rows. Rows come in order; what is kept of them is what results
/// to come still need.
template <typename From, typename To>
class RowMixer {
 public:
  RowMixer(std::size_t rowNumbers, const AxisWeights& weights, std::size_t bandRows)
      : weights_(weights),
        rowNumbers_(rowNumbers),
        tiles_((rowNumbers + tileNumbers - 1) / tileNumbers),
        ringPairs_(std::bit_ceil(weights.maxPairs() + bandRows / 2 + 1)),
        ring_(tiles_ * ringPairs_ * tilePairNumbers * sizeof(std::int16_t)),
        strip_(tiles_ * tileNumbers * stripRows * sizeof(To)) {}

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
          mix_(ring, weights_, first, last,
               reinterpret_cast<To*>(strip_.data()) + rowInStrip(first) * stride() +
                   tile * tileNumbers,
               weights_.mirrored() ? -stride() : stride());
      }
      taken = true;
      nextResult_ = last;
      if (last > first && endsStrip(last - 1)) done(stripOf(last - 1));
    } while (nextResult_ < weights_.count() && weights_.endPair(nextResult_) <= endPair);
    endPair_ = endPair;
  }

 private:
  /// In numbers.
  std::ptrdiff_t stride() const { return static_cast<std::ptrdiff_t>(tiles_ * tileNumbers); }

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
    return {strip_.data(), tiles_ * tileNumbers * sizeof(To), first,
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
    const std::size_t at = tile * tileNumbers;
    const std::size_t length = std::min(tileNumbers, rowNumbers_ - at);
    for (std::size_t row = 0; row < count; row += 2) {
      const From* upper = reinterpret_cast<const From*>(rows[row]) + at;
      const From* lower = reinterpret_cast<const From*>(rows[row + 1 < count ? row + 1 : row]) + at;
      std::array<From, 2 * tileNumbers> copies;
      if (length < tileNumbers) {
        copies.fill(0);
        std::copy_n(upper, length, copies.data());
        std::copy_n(lower, length, copies.data() + tileNumbers);
        upper = copies.data();
        lower = copies.data() + tileNumbers;
      }
      interleave_(upper, lower, ring.pair(endPair_ + row / 2));
    }
  }

  static auto interleaving() {
    if constexpr (sizeof(From) == 1)
      return resampleKernels().interleave;
    else
      return interleaveWords;
  }
  static ResampleKernels::Mix<To> mixing() {
    if constexpr (sizeof(From) == 1)
      return resampleKernels().bytesToBytes;
    else if constexpr (sizeof(To) == 1)
      return resampleKernels().wordsToBytes;
    else
      return resampleKernels().wordsToWords;
  }

  void (*interleave_)(const From*, const From*, std::int16_t*) = interleaving();
  ResampleKernels::Mix<To> mix_ = mixing();
  const AxisWeights& weights_;
  std::size_t rowNumbers_;
  std::size_t tiles_;
  std::size_t ringPairs_;
  ScratchBuffer ring_;
  ScratchBuffer strip_;
  std::size_t endPair_ = 0;
  std::size_t nextResult_ = 0;
};

/// The first pass keeps the kind of numbers.
class PlaneScaler::FirstPass {
 public:
  FirstPass(SampleFormat unit, std::size_t rowUnits, const AxisWeights& weights,
            std::size_t bandRows) {
    if (unit == SampleFormat::word)
      words_.emplace(rowUnits, weights, bandRows);
    else
      bytes_.emplace(rowUnits * bytesOf(unit), weights, bandRows);
  }

  bool ready() const { return words_ ? words_->ready() : bytes_->ready(); }
  bool finished() const { return words_ ? words_->finished() : bytes_->finished(); }
  template <typename Done>
  void push(const std::uint8_t* const* rows, std::size_t count, Done done) {
    if (words_)
      words_->push(rows, count, done);
    else
      bytes_->push(rows, count, done);
  }

 private:
  std::optional<RowMixer<std::uint8_t, std::uint8_t>> bytes_;
  std::optional<RowMixer<std::int16_t, std::int16_t>> words_;
};

PlaneScaler::PlaneScaler(ScalePlan plan, std::size_t width, SampleFormat unit, std::size_t bandRows)
    : plan_(std::move(plan)),
      unit_(unit),
      columns_(plan_.alongColumns.needed()),
      rows_(plan_.alongRows.needed()) {
  columns_.count = std::min(columns_.end(), width) - columns_.first;
  plan_.alongColumns.startAt(columns_.first);
  plan_.alongRows.startAt(rows_.first);
  firstPass_ = std::make_unique<FirstPass>(unit, columns_.count, plan_.alongRows, bandRows);
  turned_ = {plan_.alongRows.count(), columns_.count,
             roundedUp(plan_.alongRows.count() * bytesOf(unit), tileNumbers), nullptr};
  turnedMemory_ = ScratchBuffer(turned_.strideBytes * turned_.height);
  turned_.bytes = turnedMemory_.data();
  ready_ = firstPass_->ready() && turnedMemory_;
}

PlaneScaler::~PlaneScaler() = default;

void PlaneScaler::push(const std::uint8_t* const* rows, std::size_t count) {
  const std::size_t first = pushedRows_;
  pushedRows_ += count;
  if (pushedRows_ <= rows_.first || first >= rows_.end()) return;
  const std::size_t skipped = rows_.first - std::min(rows_.first, first);
  const auto lay = unit_ == SampleFormat::byte   ? layAsColumns<std::uint8_t>
                   : unit_ == SampleFormat::word ? layAsColumns<std::int16_t>
                                                 : layPixelsAsColumns;
  std::array<const std::uint8_t*, 64> pointers;
  for (std::size_t at = skipped; at < count;) {
    const std::size_t now = std::min(count - at, pointers.size());
    for (std::size_t i = 0; i < now; ++i)
      pointers[i] = rows[at + i] + columns_.first * bytesOf(unit_);
    firstPass_->push(pointers.data(), now,
                     [&](const Strip& strip) { lay(strip, columns_.count, turned_); });
    at += now;
  }
}

template <typename Number>
bool PlaneScaler::finishFrom(std::size_t numbers, const PlaneView& result) const {
  RowMixer<Number, std::uint8_t> mixer(turned_.width * numbers, plan_.alongColumns, secondPassBand);
  if (!mixer.ready()) return false;
  std::array<const std::uint8_t*, secondPassBand> rows;
  for (std::size_t y = 0; y < turned_.height; y += secondPassBand) {
    const std::size_t count = std::min(secondPassBand, turned_.height - y);
    for (std::size_t i = 0; i < count; ++i) rows[i] = turned_.row(y + i);
    mixer.push(rows.data(), count, [&](const Strip& strip) {
      if (plan_.swapsAxes)
        layAsRows(strip, turned_.width * numbers, result);
      else
        (numbers == 1 ? layAsColumns<std::uint8_t> : layPixelsAsColumns)(strip, turned_.width,
                                                                         result);
    });
  }
  return mixer.finished();
}

bool PlaneScaler::finish(const PlaneView& result) {
  if (!firstPass_->finished()) return false;
  firstPass_.reset();
  if (unit_ == SampleFormat::word) return finishFrom<std::int16_t>(1, result);
  return finishFrom<std::uint8_t>(bytesOf(unit_), result);
}

}  // namespace vecamera::device::imaging
