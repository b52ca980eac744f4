#include "device/imaging/png/PngRows.h"

#include <isa-l/igzip_lib.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstring>
#include <mutex>

#include "device/imaging/base/ScratchBuffer.h"
#include "device/imaging/png/PngChunks.h"
#include "device/imaging/png/PngCodec.h"
#include "device/imaging/png/RowFilters.h"

namespace vecamera::device::imaging {
namespace {

/// As many rows are inflated at a time as fit in here, but one at least.
constexpr std::size_t bandBytes = std::size_t{1} << 18;

/// The chunks in order, as strictly as libspng takes them.
class VerifiedChunks {
 public:
  explicit VerifiedChunks(Bytes png) : reader_(png) {}

  /// Nothing where the bytes end, or a critical chunk has a wrong checksum or stands in the wrong
  /// place. The end, which has no contents to verify, may lack its checksum.
  std::optional<PngChunk> next() {
    using namespace std::string_view_literals;
    const auto chunk = reader_.next();
    if (!chunk) {
      const Bytes rest = reader_.rest();
      constexpr auto end = "\0\0\0\0IEND"sv;
      if (stage_ == Stage::end || rest.size() < end.size() || rest.size() >= pngFrameSize ||
          std::memcmp(rest.data(), end.data(), end.size()) != 0)
        return std::nullopt;
      stage_ = Stage::end;
      return PngChunk{"IEND", {}, rest};
    }
    if (chunk->isCritical() && (!isInPlace(*chunk) || !chunk->hasRightChecksum()))
      return std::nullopt;
    if (chunk->type == "IDAT")
      stage_ = Stage::data;
    else if (stage_ == Stage::data)
      stage_ = Stage::afterData;
    return chunk;
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
  explicit Inflater(Bytes png) : chunks_(png), state_(sizeof(inflate_state)) {
    if (!state_) return;
    isal_inflate_init(state());
    state()->crc_flag = ISAL_ZLIB;
  }
  bool ready() const { return static_cast<bool>(state_); }

  /// Exactly so many bytes; false where there are fewer, or they are corrupt.
  bool fill(std::uint8_t* to, std::size_t count) {
    state()->next_out = to;
    state()->avail_out = static_cast<std::uint32_t>(count);
    while (state()->avail_out > 0)
      if (inflateMore() != Progress::some) return false;
    return true;
  }

  /// True where the rest of the compressed stream is intact and the file goes on to its own end.
  /// The stream may lack its end, and may hold more than the rows, which is then ignored. `spare`
  /// is a byte to write to.
  bool finish(std::uint8_t* spare) {
    state()->next_out = spare;
    state()->avail_out = 1;
    Progress progress = Progress::some;
    while (progress == Progress::some && state()->avail_out > 0) progress = inflateMore();
    if (progress == Progress::corrupt) return false;
    for (auto chunk = afterData_ ? afterData_ : chunks_.next(); chunk; chunk = chunks_.next())
      if (chunk->type == "IEND") return true;
    return false;
  }

 private:
  enum class Progress { some, ended, corrupt };

  inflate_state* state() { return reinterpret_cast<inflate_state*>(state_.data()); }

  /// Inflates further, first of all what is left of the input of before.
  Progress inflateMore() {
    while (state()->block_state != ISAL_BLOCK_FINISH) {
      const std::uint32_t in = state()->avail_in;
      const std::uint32_t out = state()->avail_out;
      if (started_ && isal_inflate(state()) < 0) return Progress::corrupt;
      if (state()->avail_in < in || state()->avail_out < out) return Progress::some;
      if (in > 0) return Progress::corrupt;
      const auto contents = nextIdat();
      if (!contents) break;
      started_ = true;
      state()->next_in = const_cast<std::uint8_t*>(contents->data());
      state()->avail_in = static_cast<std::uint32_t>(contents->size());
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
        afterData_ = chunk;
      }
    }
    return std::nullopt;
  }

  VerifiedChunks chunks_;
  ScratchBuffer state_;
  bool started_ = false;
  bool inData_ = false;
  /// The first chunk behind the pixels, once it was met.
  std::optional<PngChunk> afterData_;
};

/// Hands out filtered rows from bands that a worker, where there is one, inflates ahead.
class RowBandReader {
 public:
  RowBandReader(Bytes png, std::size_t rowBytes, std::size_t rows, const ThreadBudget& threads)
      : inflater_(png),
        rowBytes_(rowBytes),
        rows_(rows),
        bandRows_(std::clamp<std::size_t>(bandBytes / rowBytes, 1, rows)),
        count_((rows + bandRows_ - 1) / bandRows_),
        work_(threads, [this] { return inflateNext(); }) {
    // A pixel of three bytes is read as one of four.
    for (ScratchBuffer& band : memory_) band = ScratchBuffer(bandRows_ * rowBytes + 1);
  }

  bool ready() const {
    return inflater_.ready() && std::all_of(memory_.begin(), memory_.end(),
                                            [](const ScratchBuffer& band) { return bool(band); });
  }

  /// The filtered bytes of the next row, valid until the next call; null where they are corrupt.
  const std::uint8_t* nextRow() {
    if (row_ == rows_) return nullptr;
    const std::size_t inBand = row_ % bandRows_;
    if (inBand == 0 && !nextBand()) return nullptr;
    return bandAt(row_++ / bandRows_) + inBand * rowBytes_;
  }

  ImageResult<void> finish() {
    // After the last row the worker has nothing left to do either.
    if (const auto worked = work_.end(); !worked) return worked;
    if (row_ != rows_ || !inflater_.finish(memory_[0].data())) return Failure(ImageError::corrupt);
    return {};
  }

 private:
  std::uint8_t* bandAt(std::size_t band) const { return memory_[band % memory_.size()].data(); }

  /// Inflates the next band, unless another thread does or no memory is free: that of the band
  /// being read is not.
  bool inflateNext() {
    std::unique_lock lock(mutex_);
    if (inflating_ || corrupt_ || inflated_ == count_ || inflated_ - reading_ >= memory_.size())
      return false;
    inflating_ = true;
    const std::size_t band = inflated_;
    lock.unlock();
    const std::size_t count = std::min(bandRows_, rows_ - band * bandRows_);
    const bool done = inflater_.fill(bandAt(band), count * rowBytes_);
    lock.lock();
    inflating_ = false;
    if (done)
      ++inflated_;
    else
      corrupt_ = true;
    changed_.notify_all();
    return done;
  }

  /// Inflates the band here, unless a worker has begun to.
  bool nextBand() {
    {
      std::unique_lock lock(mutex_);
      reading_ = row_ / bandRows_;
      while (inflated_ <= reading_ && !corrupt_) {
        if (inflating_) {
          changed_.wait(lock);
        } else {
          lock.unlock();
          inflateNext();
          lock.lock();
        }
      }
      if (inflated_ <= reading_) return false;
    }
    // Waking a worker costs about as much as so many bands.
    constexpr std::size_t minBandsForWorker = 8;
    if (count_ >= minBandsForWorker) work_.requestWorker();
    return true;
  }

  Inflater inflater_;
  const std::size_t rowBytes_;
  const std::size_t rows_;
  const std::size_t bandRows_;
  const std::size_t count_;
  std::array<ScratchBuffer, 3> memory_;
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
  PngRows(Bytes png, const PictureHeader& header, const ThreadBudget& threads)
      : width_(header.width),
        height_(header.height),
        pixelBytes_(header.hasAlpha ? 4 : 3),
        bands_(png, width_ * pixelBytes_ + 1, height_, threads),
        above_(width_ * 4) {
    if (above_) std::memset(above_.data(), 0, width_ * 4);
  }

  bool ready() const { return bands_.ready() && above_; }
  std::size_t width() const override { return width_; }
  std::size_t height() const override { return height_; }
  bool isOpaque() const override { return pixelBytes_ == 3; }

  ImageResult<void> read(std::uint32_t* rows, std::size_t count) override {
    const std::uint8_t* above = above_.data();
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint8_t* filtered = bands_.nextRow();
      auto* row = reinterpret_cast<std::uint8_t*>(rows + i * width_);
      if (!filtered || !unfilterRow(filtered[0], filtered + 1, pixelBytes_, above, width_, row))
        return Failure(ImageError::corrupt);
      above = row;
    }
    std::memcpy(above_.data(), above, width_ * 4);
    if (pixelBytes_ == 4) premultiplyPixels(rows, count * width_);
    return {};
  }

  ImageResult<void> finish() override { return bands_.finish(); }

 private:
  std::size_t width_;
  std::size_t height_;
  std::size_t pixelBytes_;
  RowBandReader bands_;
  ScratchBuffer above_;
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
                                                    const ThreadBudget& threads) {
  if (!isSupported(bytes, header)) return Failure(ImageError::unsupported);
  if (!pngCanHold(bytes, (std::uint64_t{header.width} * 3 + 1) * header.height))
    return Failure(ImageError::corrupt);
  auto rows = std::make_unique<PngRows>(bytes, header, threads);
  if (!rows->ready()) return Failure(ImageError::outOfMemory);
  return rows;
}

}  // namespace vecamera::device::imaging
