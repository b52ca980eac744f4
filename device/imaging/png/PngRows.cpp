#include "device/imaging/png/PngRows.h"

#include <isa-l/igzip_lib.h>
#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <optional>
#include <string_view>

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/ScratchBuffer.h"
#include "device/imaging/base/ThreadBudget.h"
#include "device/imaging/png/PngCodec.h"
#include "device/imaging/png/RowFilters.h"

namespace vecamera::device::imaging {
namespace {

constexpr std::size_t signatureLength = 8;
/// The length and the type; with the checksum.
constexpr std::size_t chunkHead = 8;
constexpr std::size_t chunkFrame = 12;
/// As many rows are unpacked at a time as fit in here, but one at least.
constexpr std::size_t bandBytes = std::size_t{1} << 18;

std::uint32_t bigEndianAt(const std::uint8_t* bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
         std::uint32_t{bytes[2]} << 8 | bytes[3];
}

struct Chunk {
  std::string_view type;
  Bytes contents;
};

/// The chunks one after the other, as strictly as libspng takes them.
class Chunks {
 public:
  explicit Chunks(Bytes bytes) : left_(bytes.subspan(std::min(signatureLength, bytes.size()))) {}

  /// Nothing where the bytes end, or a chunk that counts has a wrong checksum or no business to be
  /// where it is. The others, whose names begin in lower case, are not used. The end, which has no
  /// contents to check, may lack its checksum.
  std::optional<Chunk> next() {
    if (left_.size() < chunkHead) return std::nullopt;
    const std::size_t length = bigEndianAt(left_.data());
    Chunk chunk{{reinterpret_cast<const char*>(left_.data()) + 4, 4}, {}};
    if (chunk.type == "IEND" && length == 0 && left_.size() < chunkFrame) {
      left_ = {};
      return chunk;
    }
    if (left_.size() < chunkFrame || length > left_.size() - chunkFrame) return std::nullopt;
    chunk.contents = left_.subspan(chunkHead, length);
    const bool counts = std::isupper(static_cast<unsigned char>(chunk.type.front())) != 0;
    if (counts && (!fits(chunk) || libdeflate_crc32(0, left_.data() + 4, length + 4) !=
                                       bigEndianAt(left_.data() + chunkHead + length)))
      return std::nullopt;
    if (chunk.type == "IDAT")
      stage_ = Stage::data;
    else if (stage_ == Stage::data)
      stage_ = Stage::behind;
    left_ = left_.subspan(length + chunkFrame);
    return chunk;
  }

 private:
  enum class Stage { start, header, data, behind };

  bool fits(const Chunk& chunk) {
    const std::size_t length = chunk.contents.size();
    if (stage_ == Stage::start) {
      stage_ = Stage::header;
      return chunk.type == "IHDR";
    }
    if (chunk.type == "PLTE")
      return stage_ == Stage::header && length > 0 && length <= 768 && length % 3 == 0;
    if (chunk.type == "IDAT") return stage_ != Stage::behind;
    return chunk.type == "IEND" && length == 0;
  }

  Bytes left_;
  Stage stage_ = Stage::start;
};

/// Unpacks the filtered rows, band by band.
class Inflater {
 public:
  explicit Inflater(Bytes bytes) : chunks_(bytes), state_(sizeof(inflate_state)) {
    if (!state_) return;
    isal_inflate_init(state());
    state()->crc_flag = ISAL_ZLIB;
  }
  bool ready() const { return static_cast<bool>(state_); }

  /// Exactly so many bytes; false where there are fewer, or they are damaged.
  bool fill(std::uint8_t* to, std::size_t count) {
    state()->next_out = to;
    state()->avail_out = static_cast<std::uint32_t>(count);
    while (state()->avail_out > 0)
      if (inflateMore() != Progress::some) return false;
    return true;
  }

  /// True where what is left of the compressed stream is in order and the file goes on to its own
  /// end. The stream may lack its end, and may hold more than the rows, which then does not count.
  /// `spare` is a byte to write to.
  bool finish(std::uint8_t* spare) {
    state()->next_out = spare;
    state()->avail_out = 1;
    Progress progress = Progress::some;
    while (progress == Progress::some && state()->avail_out > 0) progress = inflateMore();
    if (progress == Progress::damaged) return false;
    for (auto chunk = behindData_ ? behindData_ : chunks_.next(); chunk; chunk = chunks_.next())
      if (chunk->type == "IEND") return true;
    return false;
  }

 private:
  enum class Progress { some, ended, damaged };

  inflate_state* state() { return reinterpret_cast<inflate_state*>(state_.data()); }

  /// Unpacks further, first of all what is left of bytes that were taken in earlier.
  Progress inflateMore() {
    while (state()->block_state != ISAL_BLOCK_FINISH) {
      const std::uint32_t in = state()->avail_in;
      const std::uint32_t out = state()->avail_out;
      if (begun_ && isal_inflate(state()) < 0) return Progress::damaged;
      if (state()->avail_in < in || state()->avail_out < out) return Progress::some;
      if (in > 0) return Progress::damaged;
      const auto contents = nextData();
      if (!contents) break;
      begun_ = true;
      state()->next_in = const_cast<std::uint8_t*>(contents->data());
      state()->avail_in = static_cast<std::uint32_t>(contents->size());
    }
    return Progress::ended;
  }

  std::optional<Bytes> nextData() {
    while (!behindData_) {
      const auto chunk = chunks_.next();
      if (!chunk || chunk->type == "tRNS") return std::nullopt;
      if (chunk->type == "IDAT") {
        inData_ = true;
        if (!chunk->contents.empty()) return chunk->contents;
      } else if (inData_) {
        behindData_ = chunk;
      }
    }
    return std::nullopt;
  }

  Chunks chunks_;
  ScratchBuffer state_;
  bool begun_ = false;
  bool inData_ = false;
  /// The first chunk behind the pixels, once it was met.
  std::optional<Chunk> behindData_;
};

/// Bands of filtered rows, unpacked by a helper ahead of the reader where there is a place for one.
class Bands {
 public:
  Bands(Bytes bytes, std::size_t rowBytes, std::size_t rows, const ThreadBudget& threads)
      : inflater_(bytes),
        rowBytes_(rowBytes),
        rows_(rows),
        bandRows_(std::clamp<std::size_t>(bandBytes / rowBytes, 1, rows)),
        count_((rows + bandRows_ - 1) / bandRows_),
        work_(threads, [this] { return fillNext(); }) {
    // A pixel of three bytes is read as one of four.
    for (ScratchBuffer& band : memory_) band = ScratchBuffer(bandRows_ * rowBytes + 1);
  }

  bool ready() const {
    return inflater_.ready() && std::all_of(memory_.begin(), memory_.end(),
                                            [](const ScratchBuffer& band) { return bool(band); });
  }

  /// The filtered bytes of the next row, valid until the next call; null where they are damaged.
  const std::uint8_t* nextRow() {
    if (row_ == rows_) return nullptr;
    const std::size_t inBand = row_ % bandRows_;
    if (inBand == 0 && !nextBand()) return nullptr;
    return bandAt(row_++ / bandRows_) + inBand * rowBytes_;
  }

  bool finish() {
    // After the last row the helper, too, has nothing left to do.
    return row_ == rows_ && work_.end() && inflater_.finish(memory_[0].data());
  }

 private:
  std::uint8_t* bandAt(std::size_t band) const { return memory_[band % memory_.size()].data(); }

  bool fill(std::size_t band) {
    return inflater_.fill(bandAt(band), std::min(bandRows_, rows_ - band * bandRows_) * rowBytes_);
  }

  /// Unpacks the next band, if nobody does and there is a place: not that of the one that is read.
  bool fillNext() {
    std::unique_lock lock(mutex_);
    if (filling_ || damaged_ || filled_ == count_ || filled_ - reading_ >= memory_.size())
      return false;
    filling_ = true;
    const std::size_t band = filled_;
    lock.unlock();
    const bool done = fill(band);
    lock.lock();
    filling_ = false;
    if (done)
      ++filled_;
    else
      damaged_ = true;
    changed_.notify_all();
    return done;
  }

  /// Unpacks the band here, unless a helper has begun to.
  bool nextBand() {
    {
      std::unique_lock lock(mutex_);
      reading_ = row_ / bandRows_;
      while (filled_ <= reading_ && !damaged_) {
        if (filling_) {
          changed_.wait(lock);
        } else {
          lock.unlock();
          fillNext();
          lock.lock();
        }
      }
      if (filled_ <= reading_) return false;
    }
    // Waking a helper costs about what such a number of bands does.
    constexpr std::size_t worthIt = 8;
    if (count_ >= worthIt) work_.requestWorker();
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
  std::size_t filled_ = 0;
  bool filling_ = false;
  bool damaged_ = false;
  /// Last, so that no helper is at work when the others go.
  WorkQueue work_;
};

class PngRows final : public RowSource {
 public:
  PngRows(Bytes bytes, const PictureHeader& header, const ThreadBudget& threads)
      : width_(header.width),
        height_(header.height),
        unit_(header.hasAlpha ? 4 : 3),
        bands_(bytes, width_ * unit_ + 1, height_, threads),
        above_(width_ * 4) {
    if (above_) std::memset(above_.data(), 0, width_ * 4);
  }

  bool ready() const { return bands_.ready() && above_; }
  std::size_t width() const override { return width_; }
  std::size_t height() const override { return height_; }
  bool isOpaque() const override { return unit_ == 3; }

  bool read(std::uint32_t* rows, std::size_t count) override {
    const std::uint8_t* above = above_.data();
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint8_t* raw = bands_.nextRow();
      auto* row = reinterpret_cast<std::uint8_t*>(rows + i * width_);
      if (!raw || !unfilterToPixels(raw[0], raw + 1, unit_, above, width_, row)) return false;
      above = row;
    }
    std::memcpy(above_.data(), above, width_ * 4);
    if (unit_ == 4) premultiply(reinterpret_cast<std::uint8_t*>(rows), count * width_);
    return true;
  }

  bool finish() override { return bands_.finish(); }

 private:
  static void premultiply(std::uint8_t* pixels, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i, pixels += 4) {
      const unsigned alpha = pixels[3];
      if (alpha == 255) continue;
      for (int channel = 0; channel < 3; ++channel)
        pixels[channel] = multiplied(pixels[channel], alpha);
    }
  }

  std::size_t width_;
  std::size_t height_;
  std::size_t unit_;
  Bands bands_;
  ScratchBuffer above_;
};

bool isUsual(Bytes bytes, const PictureHeader& header) {
  constexpr std::size_t headerContents = 16;
  if (bytes.size() < headerContents + 13) return false;
  const std::uint8_t* contents = bytes.data() + headerContents;
  const std::uint8_t depth = contents[8];
  const std::uint8_t type = contents[9];
  const std::uint8_t interlacing = contents[12];
  return depth == 8 && interlacing == 0 && type == (header.hasAlpha ? 6 : 2);
}

bool canHold(Bytes bytes, const PictureHeader& header) {
  const std::uint64_t rowBytes = std::uint64_t{header.width} * 3 + 1;
  return rowBytes * header.height <= bytes.size() * bestDeflateRatio;
}

}  // namespace

std::unique_ptr<RowSource> openPngRows(Bytes bytes, const PictureHeader& header,
                                       const ThreadBudget& threads) {
  constexpr std::size_t widest = std::size_t{1} << 28;
  if (!isUsual(bytes, header) || header.width > widest || !canHold(bytes, header)) return nullptr;
  auto rows = std::make_unique<PngRows>(bytes, header, threads);
  return rows->ready() ? std::move(rows) : nullptr;
}

}  // namespace vecamera::device::imaging
