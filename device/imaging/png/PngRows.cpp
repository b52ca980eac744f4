#include "device/imaging/png/PngRows.h"

#include <isa-l/igzip_lib.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <mutex>

#include "device/imaging/base/ScratchBuffer.h"
#include "device/imaging/png/PngChunks.h"
#include "device/imaging/png/PngCodec.h"
#include "device/imaging/png/RowFilters.h"

namespace vecamera::device::imaging {
namespace {

/// The chunks in order, as strictly as libspng takes them.
class VerifiedChunks {
 public:
  explicit VerifiedChunks(Bytes png) : reader_(png) {}

  /// `corrupt` where the bytes end, or a critical chunk has a wrong checksum or stands in the wrong
  /// place. The end, which has no contents to verify, may lack its checksum.
  ImageResult<PngChunk> next() {
    using namespace std::string_view_literals;
    const auto chunk = reader_.next();
    if (!chunk) {
      const Bytes rest = reader_.rest();
      constexpr auto end = "\0\0\0\0IEND"sv;
      if (stage_ == Stage::end || rest.size() < end.size() || rest.size() >= pngFrameSize ||
          std::memcmp(rest.data(), end.data(), end.size()) != 0)
        return Failure(ImageError::corrupt);
      stage_ = Stage::end;
      return PngChunk{"IEND", {}, rest};
    }
    if (chunk->isCritical() && (!isInPlace(*chunk) || !chunk->hasRightChecksum()))
      return Failure(ImageError::corrupt);
    if (chunk->type == "IDAT")
      stage_ = Stage::data;
    else if (stage_ == Stage::data)
      stage_ = Stage::afterData;
    return *chunk;
  }

 private:
  enum class Stage { start, header, data, afterData, end };

  bool isInPlace(const PngChunk& chunk) {
    const std::size_t length = chunk.contents.size();
    if (stage_ == Stage::start) {
      stage_ = Stage::header;
      return chunk.type == "IHDR";
    }
    if (chunk.type == "PLTE")
      return stage_ == Stage::header && length > 0 && length <= 768 && length % 3 == 0;
    if (chunk.type == "IDAT") return stage_ != Stage::afterData;
    return chunk.type == "IEND" && length == 0;
  }

  PngChunkReader reader_;
  Stage stage_ = Stage::start;
};

/// Inflates the filtered rows, band by band.
class Inflater {
 public:
  /// The state is memory that outlives the inflater.
  Inflater(Bytes png, inflate_state* state) : chunks_(png), state_(state) {
    isal_inflate_init(state_);
    state_->crc_flag = ISAL_ZLIB;
  }

  /// Exactly so many bytes; `corrupt` where there are fewer.
  ImageResult<void> fill(std::uint8_t* to, std::size_t count) {
    state_->next_out = to;
    state_->avail_out = static_cast<std::uint32_t>(count);
    while (state_->avail_out > 0)
      if (inflateMore() != Progress::some) return Failure(ImageError::corrupt);
    return {};
  }

  /// `corrupt` unless the rest of the compressed stream is intact and the file goes on to its own
  /// end. The stream may lack its end, and may hold more than the rows, which is then ignored.
  /// `spare` is a byte to write to.
  ImageResult<void> finish(std::uint8_t* spare) {
    state_->next_out = spare;
    state_->avail_out = 1;
    Progress progress = Progress::some;
    while (progress == Progress::some && state_->avail_out > 0) progress = inflateMore();
    if (progress == Progress::corrupt) return Failure(ImageError::corrupt);
    while (!afterData_ || afterData_->type != "IEND") {
      const auto chunk = chunks_.next();
      if (!chunk) return chunk.failure();
      afterData_ = *chunk;
    }
    return {};
  }

 private:
  enum class Progress { some, ended, corrupt };

  /// Inflates further, first of all what is left of the input of before.
  Progress inflateMore() {
    while (state_->block_state != ISAL_BLOCK_FINISH) {
      const std::uint32_t in = state_->avail_in;
      const std::uint32_t out = state_->avail_out;
      if (started_ && isal_inflate(state_) < 0) return Progress::corrupt;
      if (state_->avail_in < in || state_->avail_out < out) return Progress::some;
      if (in > 0) return Progress::corrupt;
      const auto contents = nextIdat();
      if (!contents) break;
      started_ = true;
      state_->next_in = const_cast<std::uint8_t*>(contents->data());
      state_->avail_in = static_cast<std::uint32_t>(contents->size());
    }
    return Progress::ended;
  }

  std::optional<Bytes> nextIdat() {
    while (!afterData_) {
      const auto chunk = chunks_.next();
      if (!chunk || chunk->type == "tRNS") return std::nullopt;
      if (chunk->type == "IDAT") {
        inData_ = true;
        if (!chunk->contents.empty()) return chunk->contents;
      } else if (inData_) {
        afterData_ = *chunk;
      }
    }
    return std::nullopt;
  }

  VerifiedChunks chunks_;
  inflate_state* state_;
  bool started_ = false;
  bool inData_ = false;
  /// The latest chunk behind the pixels, once one was met.
  std::optional<PngChunk> afterData_;
};

/// The filtered rows of a picture, and how they are inflated: so many at a time as fit into
/// 256 KB, but one at least, into one of three bands.
struct RowBandSizes {
  static constexpr std::size_t inMemory = 3;

  explicit RowBandSizes(const PictureHeader& header)
      : width(header.width),
        pixelBytes(header.hasAlpha ? 4 : 3),
        rowBytes(width * pixelBytes + 1),
        rows(header.height),
        bandRows(std::clamp<std::size_t>((std::size_t{1} << 18) / rowBytes, 1, rows)),
        count((rows + bandRows - 1) / bandRows) {}

  /// The byte behind the last row is read with a last pixel of three bytes.
  std::size_t bandBytes() const { return bandRows * rowBytes + 1; }

  std::size_t width;
  std::size_t pixelBytes;
  std::size_t rowBytes;
  std::size_t rows;
  std::size_t bandRows;
  std::size_t count;
};

/// Hands out filtered rows from bands that a worker, where there is one, inflates ahead.
class RowBandReader {
 public:
  /// The memory of the bands outlives the reader.
  RowBandReader(const Inflater& inflater, const RowBandSizes& bands, std::uint8_t* memory,
                const ThreadBudget& threads)
      : inflater_(inflater),
        bands_(bands),
        memory_(memory),
        work_(threads, [this] { return inflateNext(); }) {}

  /// The filtered bytes of the next row, valid until the next call.
  ImageResult<const std::uint8_t*> nextRow() {
    if (row_ == bands_.rows) return Failure(ImageError::corrupt);
    const std::size_t inBand = row_ % bands_.bandRows;
    if (inBand == 0)
      if (const auto inflated = nextBand(); !inflated) return inflated.failure();
    return bandAt(row_++ / bands_.bandRows) + inBand * bands_.rowBytes;
  }

  ImageResult<void> finish() {
    // After the last row the worker has nothing left to do either.
    if (const auto worked = work_.end(); !worked) return worked;
    if (row_ != bands_.rows) return Failure(ImageError::corrupt);
    return inflater_.finish(memory_);
  }

 private:
  std::uint8_t* bandAt(std::size_t band) const {
    return memory_ + band % RowBandSizes::inMemory * bands_.bandBytes();
  }

  /// Inflates the next band, unless another thread does or no memory is free: that of the band
  /// being read is not.
  bool inflateNext() {
    std::unique_lock lock(mutex_);
    if (inflating_ || corrupt_ || inflated_ == bands_.count ||
        inflated_ - reading_ >= RowBandSizes::inMemory)
      return false;
    inflating_ = true;
    const std::size_t band = inflated_;
    lock.unlock();
    const std::size_t count = std::min(bands_.bandRows, bands_.rows - band * bands_.bandRows);
    const auto inflated = inflater_.fill(bandAt(band), count * bands_.rowBytes);
    lock.lock();
    inflating_ = false;
    if (inflated)
      ++inflated_;
    else
      corrupt_ = true;
    changed_.notify_all();
    return !corrupt_;
  }

  /// Inflates the band here, unless a worker has begun to.
  ImageResult<void> nextBand() {
    {
      std::unique_lock lock(mutex_);
      reading_ = row_ / bands_.bandRows;
      while (inflated_ <= reading_ && !corrupt_) {
        if (inflating_) {
          changed_.wait(lock);
        } else {
          lock.unlock();
          inflateNext();
          lock.lock();
        }
      }
      if (inflated_ <= reading_) return Failure(ImageError::corrupt);
    }
    // Waking a worker costs about as much as so many bands.
    constexpr std::size_t minBandsForWorker = 8;
    if (bands_.count >= minBandsForWorker) work_.requestWorker();
    return {};
  }

  Inflater inflater_;
  const RowBandSizes bands_;
  std::uint8_t* const memory_;
  std::size_t row_ = 0;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t reading_ = 0;
  std::size_t inflated_ = 0;
  bool inflating_ = false;
  bool corrupt_ = false;
  /// Last, so that no worker runs when the others are destroyed.
  WorkQueue work_;
};

class PngRows final : public RowSource {
 public:
  /// What goes into the memory: the state of the inflater, the bands, and the row above the next.
  static std::size_t memoryBytes(const RowBandSizes& bands) {
    return stateBytes + RowBandSizes::inMemory * bands.bandBytes() + bands.width * 4;
  }

  PngRows(Bytes png, const RowBandSizes& bands, ScratchBuffer memory, const ThreadBudget& threads)
      : bands_(bands),
        memory_(std::move(memory)),
        filtered_({png, reinterpret_cast<inflate_state*>(memory_.data())}, bands,
                  memory_.data() + stateBytes, threads) {
    std::memset(above(), 0, bands_.width * 4);
  }

  std::size_t width() const override { return bands_.width; }
  std::size_t height() const override { return bands_.rows; }
  bool isOpaque() const override { return bands_.pixelBytes == 3; }

  ImageResult<void> read(std::uint32_t* rows, std::size_t count) override {
    const std::uint8_t* previous = above();
    for (std::size_t i = 0; i < count; ++i) {
      const auto filtered = filtered_.nextRow();
      if (!filtered) return filtered.failure();
      auto* row = reinterpret_cast<std::uint8_t*>(rows + i * bands_.width);
      const auto unfiltered = unfilterRow((*filtered)[0], *filtered + 1, bands_.pixelBytes,
                                          previous, bands_.width, row);
      if (!unfiltered) return unfiltered;
      previous = row;
    }
    std::memcpy(above(), previous, bands_.width * 4);
    if (!isOpaque()) premultiplyPixels(rows, count * bands_.width);
    return {};
  }

  ImageResult<void> finish() override { return filtered_.finish(); }

 private:
  static constexpr std::size_t stateBytes = sizeof(inflate_state);
  std::uint8_t* above() const {
    return memory_.data() + stateBytes + RowBandSizes::inMemory * bands_.bandBytes();
  }

  RowBandSizes bands_;
  ScratchBuffer memory_;
  RowBandReader filtered_;
};

/// The kinds that `PngRows` reads: eight bits a channel, RGB or RGBA, not interlaced.
bool isSupported(Bytes png, const PictureHeader& header) {
  constexpr std::size_t headerContents = 16;
  if (png.size() < headerContents + 13) return false;
  const std::uint8_t* contents = png.data() + headerContents;
  const std::uint8_t depth = contents[8];
  const std::uint8_t type = contents[9];
  const std::uint8_t interlacing = contents[12];
  constexpr std::size_t maxWidth = std::size_t{1} << 28;
  return depth == 8 && interlacing == 0 && type == (header.hasAlpha ? 6 : 2) &&
         header.width <= maxWidth;
}

}  // namespace

ImageResult<std::unique_ptr<RowSource>> openPngRows(Bytes bytes, const PictureHeader& header,
                                                    DecodeScale, const ThreadBudget& threads) {
  if (!isSupported(bytes, header)) return Failure(ImageError::unsupported);
  if (!pngCanHold(bytes, (std::uint64_t{header.width} * 3 + 1) * header.height))
    return Failure(ImageError::corrupt);
  const RowBandSizes bands(header);
  ScratchBuffer memory(PngRows::memoryBytes(bands));
  if (!memory) return Failure(ImageError::outOfMemory);
  return std::make_unique<PngRows>(bytes, bands, std::move(memory), threads);
}

}  // namespace vecamera::device::imaging
