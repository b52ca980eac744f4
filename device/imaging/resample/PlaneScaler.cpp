#include "device/imaging/resample/PlaneScaler.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <variant>

#include "device/imaging/resample/ResampleKernels.h"

namespace vecamera::device::imaging {
namespace {

/// Results are made, and transposed, in bands of so many rows.
constexpr std::size_t resultRows = 16;
constexpr std::size_t secondPassRows = 16;

constexpr std::size_t roundedUp(std::size_t number, std::size_t step) {
  return (number + step - 1) / step * step;
}

/// Neighbouring result rows, in the order of the canvas, where the first has that number.
struct ResultBand {
  const std::uint8_t* bytes;
  std::size_t strideBytes;
  std::size_t firstRow;
  std::size_t count;
};

/// A vector holds a row of a block of samples.
template <typename Sample>
void transposeSquare(const std::uint8_t* from, std::size_t fromStride, std::uint8_t* to,
                     std::size_t toStride) {
  using Vector [[gnu::vector_size(16)]] = Sample;
  Vector rows[lanes<Vector>];
  for (std::size_t i = 0; i < lanes<Vector>; ++i) std::memcpy(&rows[i], from + i * fromStride, 16);
  transposeBlock(rows);
  for (std::size_t i = 0; i < lanes<Vector>; ++i) std::memcpy(to + i * toStride, &rows[i], 16);
}

template <typename Sample>
void transpose(const ResultBand& band, std::size_t length, const PlaneView& to) {
  constexpr std::size_t side = 16 / sizeof(Sample);
  for (std::size_t at = 0; at < length; at += side)
    for (std::size_t first = 0; first < band.count; first += side) {
      const std::uint8_t* from = band.bytes + first * band.strideBytes + at * sizeof(Sample);
      const std::size_t place = (band.firstRow + first) * sizeof(Sample);
      const std::size_t rows = std::min(side, length - at);
      const std::size_t columns = std::min(side, band.count - first);
      if (rows == side && columns == side) {
        transposeSquare<Sample>(from, band.strideBytes, to.row(at) + place, to.strideBytes);
        continue;
      }
      std::array<std::uint8_t, side * 16> block;
      transposeSquare<Sample>(from, band.strideBytes, block.data(), 16);
      for (std::size_t row = 0; row < rows; ++row)
        std::memcpy(to.row(at + row) + place, block.data() + 16 * row, columns * sizeof(Sample));
    }
}

}  // namespace

std::size_t bytesOf(SampleFormat format) {
  return format == SampleFormat::byte ? 1 : format == SampleFormat::word ? 2 : 4;
}

/// Convolves columns of samples. Rows come in order; of them, only those are kept that results to
/// come still need.
template <typename From, typename To>
class ColumnConvolver {
 public:
  ColumnConvolver(std::size_t rowSamples, const AxisWeights& weights, std::size_t bandRows)
      : weights_(weights),
        rowSamples_(rowSamples),
        tiles_((rowSamples + tileSamples - 1) / tileSamples),
        keptPairs_(std::bit_ceil(weights.maxPairs() + bandRows / 2 + 1)),
        pairs_(tiles_ * keptPairs_ * tilePairSamples * sizeof(std::int16_t)),
        results_(tiles_ * tileSamples * resultRows * sizeof(To)) {}

  bool hasMemory() const { return pairs_ && results_; }
  /// Whether all results are made.
  bool isComplete() const { return nextResult_ == weights_.count(); }

  /// Takes `count` more rows, an even number but for the last ones, and passes each band of
  /// results that is complete to `onBand`.
  template <typename OnBand>
  void push(const std::uint8_t* const* rows, std::size_t count, OnBand onBand) {
    const std::size_t endPair = endPair_ + (count + 1) / 2;
    bool taken = false;
    do {
      const std::size_t first = nextResult_;
      const std::size_t last = endOfChunk(endPair);
      for (std::size_t tile = 0; tile < tiles_; ++tile) {
        const TileRing ring = ringOf(tile);
        if (!taken) take(tile, ring, rows, count);
        if (first < last)
          convolve_(ring, weights_, first, last,
                    reinterpret_cast<To*>(results_.data()) + rowInBand(first) * stride() +
                        tile * tileSamples,
                    weights_.mirrored() ? -stride() : stride());
      }
      taken = true;
      nextResult_ = last;
      if (last > first && endsBand(last - 1)) onBand(bandOf(last - 1));
    } while (nextResult_ < weights_.count() && weights_.endPair(nextResult_) <= endPair);
    endPair_ = endPair;
  }

 private:
  /// In samples.
  std::ptrdiff_t stride() const { return static_cast<std::ptrdiff_t>(tiles_ * tileSamples); }

  TileRing ringOf(std::size_t tile) const {
    auto* samples = reinterpret_cast<std::int16_t*>(pairs_.data());
    return {samples + tile * keptPairs_ * tilePairSamples, keptPairs_ - 1};
  }

  /// The row of the canvas that the result is.
  std::size_t rowOf(std::size_t result) const {
    return weights_.mirrored() ? weights_.count() - 1 - result : result;
  }
  std::ptrdiff_t rowInBand(std::size_t result) const {
    return static_cast<std::ptrdiff_t>(rowOf(result) % resultRows);
  }
  bool endsBand(std::size_t result) const {
    return result + 1 == weights_.count() ||
           rowOf(result) / resultRows != rowOf(result + 1) / resultRows;
  }
  ResultBand bandOf(std::size_t result) const {
    const std::size_t first = rowOf(result) / resultRows * resultRows;
    return {results_.data(), tiles_ * tileSamples * sizeof(To), first,
            std::min(resultRows, weights_.count() - first)};
  }

  /// The results of the current band that the pairs so far allow.
  std::size_t endOfChunk(std::size_t endPair) const {
    std::size_t last = nextResult_;
    while (last < weights_.count() && weights_.endPair(last) <= endPair)
      if (endsBand(last++)) break;
    return last;
  }

  void take(std::size_t tile, const TileRing& ring, const std::uint8_t* const* rows,
            std::size_t count) const {
    const std::size_t at = tile * tileSamples;
    const std::size_t length = std::min(tileSamples, rowSamples_ - at);
    for (std::size_t row = 0; row < count; row += 2) {
      const From* upper = reinterpret_cast<const From*>(rows[row]) + at;
      const From* lower = reinterpret_cast<const From*>(rows[row + 1 < count ? row + 1 : row]) + at;
      std::array<From, 2 * tileSamples> copies;
      if (length < tileSamples) {
        copies.fill(0);
        std::copy_n(upper, length, copies.data());
        std::copy_n(lower, length, copies.data() + tileSamples);
        upper = copies.data();
        lower = copies.data() + tileSamples;
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
  static ResampleKernels::Convolve<To> convolution() {
    if constexpr (sizeof(From) == 1)
      return resampleKernels().bytesToBytes;
    else if constexpr (sizeof(To) == 1)
      return resampleKernels().wordsToBytes;
    else
      return resampleKernels().wordsToWords;
  }

  void (*interleave_)(const From*, const From*, std::int16_t*) = interleaving();
  ResampleKernels::Convolve<To> convolve_ = convolution();
  const AxisWeights& weights_;
  std::size_t rowSamples_;
  std::size_t tiles_;
  std::size_t keptPairs_;
  ScratchBuffer pairs_;
  ScratchBuffer results_;
  std::size_t endPair_ = 0;
  std::size_t nextResult_ = 0;
};

/// The first pass keeps the format of the samples.
struct PlaneScaler::FirstPass {
  using Convolver = std::variant<ColumnConvolver<std::uint8_t, std::uint8_t>,
                                 ColumnConvolver<std::int16_t, std::int16_t>>;
  Convolver convolver;

  FirstPass(SampleFormat format, std::size_t rowSamples, const AxisWeights& weights,
            std::size_t bandRows)
      : convolver(format == SampleFormat::word
                      ? Convolver(std::in_place_index<1>, rowSamples, weights, bandRows)
                      : Convolver(std::in_place_index<0>, rowSamples * bytesOf(format), weights,
                                  bandRows)) {}
};

PlaneScaler::PlaneScaler(ScalePlan plan, std::size_t width, SampleFormat format,
                         std::size_t bandRows)
    : plan_(std::move(plan)),
      format_(format),
      columns_(plan_.alongColumns.needed()),
      rows_(plan_.alongRows.needed()) {
  columns_.count = std::min(columns_.end(), width) - columns_.first;
  plan_.alongColumns.startAt(columns_.first);
  plan_.alongRows.startAt(rows_.first);
  firstPass_ = std::make_unique<FirstPass>(format, columns_.count, plan_.alongRows, bandRows);
  transposed_ = {plan_.alongRows.count(), columns_.count,
                 roundedUp(plan_.alongRows.count() * bytesOf(format), tileSamples), nullptr};
  transposedMemory_ = ScratchBuffer(transposed_.strideBytes * transposed_.height);
  transposed_.bytes = transposedMemory_.data();
}

ImageResult<std::unique_ptr<PlaneScaler>> PlaneScaler::create(ScalePlan plan, std::size_t width,
                                                              SampleFormat format,
                                                              std::size_t bandRows) {
  std::unique_ptr<PlaneScaler> scaler(new PlaneScaler(std::move(plan), width, format, bandRows));
  const auto hasMemory = [](const auto& pass) { return pass.hasMemory(); };
  if (!scaler->transposedMemory_ || !std::visit(hasMemory, scaler->firstPass_->convolver))
    return Failure(ImageError::outOfMemory);
  return scaler;
}

PlaneScaler::~PlaneScaler() = default;

void PlaneScaler::push(const std::uint8_t* const* rows, std::size_t count) {
  const std::size_t first = pushedRows_;
  pushedRows_ += count;
  if (pushedRows_ <= rows_.first || first >= rows_.end()) return;
  const std::size_t skipped = rows_.first - std::min(rows_.first, first);
  const auto transposeBand = format_ == SampleFormat::byte   ? transpose<std::uint8_t>
                             : format_ == SampleFormat::word ? transpose<std::int16_t>
                                                             : transpose<std::uint32_t>;
  const auto onBand = [&](const ResultBand& band) {
    transposeBand(band, columns_.count, transposed_);
  };
  std::array<const std::uint8_t*, 64> pointers;
  for (std::size_t at = skipped; at < count;) {
    const std::size_t now = std::min(count - at, pointers.size());
    for (std::size_t i = 0; i < now; ++i)
      pointers[i] = rows[at + i] + columns_.first * bytesOf(format_);
    std::visit([&](auto& pass) { pass.push(pointers.data(), now, onBand); }, firstPass_->convolver);
    at += now;
  }
}

template <typename Sample>
ImageResult<void> PlaneScaler::finishFrom(std::size_t channels, const PlaneView& result) const {
  ColumnConvolver<Sample, std::uint8_t> convolver(transposed_.width * channels, plan_.alongColumns,
                                                  secondPassRows);
  if (!convolver.hasMemory()) return Failure(ImageError::outOfMemory);
  std::array<const std::uint8_t*, secondPassRows> rows;
  for (std::size_t y = 0; y < transposed_.height; y += secondPassRows) {
    const std::size_t count = std::min(secondPassRows, transposed_.height - y);
    for (std::size_t i = 0; i < count; ++i) rows[i] = transposed_.row(y + i);
    convolver.push(rows.data(), count, [&](const ResultBand& band) {
      if (!plan_.swapsAxes)
        return (channels == 1 ? transpose<std::uint8_t>
                              : transpose<std::uint32_t>)(band, transposed_.width, result);
      for (std::size_t i = 0; i < band.count; ++i)
        std::memcpy(result.row(band.firstRow + i), band.bytes + i * band.strideBytes,
                    transposed_.width * channels);
    });
  }
  return {};
}

ImageResult<void> PlaneScaler::finish(const PlaneView& result) {
  const auto isComplete = [](const auto& pass) { return pass.isComplete(); };
  if (!std::visit(isComplete, firstPass_->convolver)) return Failure(ImageError::corrupt);
  firstPass_.reset();
  if (format_ == SampleFormat::word) return finishFrom<std::int16_t>(1, result);
  return finishFrom<std::uint8_t>(bytesOf(format_), result);
}

}  // namespace vecamera::device::imaging
