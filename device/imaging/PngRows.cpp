#include "device/imaging/PngRows.h"

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
#include <system_error>
#include <thread>

#include "device/imaging/Bitmap.h"
#include "device/imaging/Helpers.h"
#include "device/imaging/PngCodec.h"
#include "device/imaging/RowFilters.h"
#include "device/imaging/Scratch.h"

namespace vecamera::device {
namespace {

constexpr std::size_t signatureLength = 8;
/// The length, the type and the checksum.
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

/// The chunks one after the other.
class Chunks {
 public:
  explicit Chunks(Bytes bytes) : left_(bytes.subspan(std::min(signatureLength, bytes.size()))) {}

  /// Nothing where the bytes end or the checksum of a chunk that counts is wrong. The others, whose
  /// names begin in lower case, are not used.
  std::optional<Chunk> next() {
    if (left_.size() < chunkFrame) return std::nullopt;
    const std::size_t length = bigEndianAt(left_.data());
    if (length > left_.size() - chunkFrame) return std::nullopt;
    const Chunk chunk{{reinterpret_cast<const char*>(left_.data()) + 4, 4},
                      left_.subspan(8, length)};
    const bool counts = std::isupper(static_cast<unsigned char>(chunk.type.front())) != 0;
    if (counts &&
        libdeflate_crc32(0, left_.data() + 4, length + 4) != bigEndianAt(left_.data() + 8 + length))
      return std::nullopt;
    left_ = left_.subspan(length + chunkFrame);
    return chunk;
  }

 private:
  Bytes left_;
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
      if (state()->block_state == ISAL_BLOCK_FINISH || !inflateMore()) return false;
    return true;
  }

  /// True where the compressed stream comes to its end, or holds more than the rows, which then
  /// does not count, and the file goes on to its own end. `spare` is a byte to write to.
  bool finish(std::uint8_t* spare) {
    state()->next_out = spare;
    state()->avail_out = 1;
    while (state()->block_state != ISAL_BLOCK_FINISH && state()->avail_out > 0)
      if (!inflateMore()) return false;
    while (const auto chunk = chunks_.next())
      if (chunk->type == "IEND") return true;
    return false;
  }

 private:
  inflate_state* state() { return reinterpret_cast<inflate_state*>(state_.data()); }

  /// Unpacks further; false where there is nothing more to unpack or it is damaged.
  bool inflateMore() {
    if (state()->avail_in == 0) {
      const auto contents = nextData();
      if (!contents) return false;
      state()->next_in = const_cast<std::uint8_t*>(contents->data());
      state()->avail_in = static_cast<std::uint32_t>(contents->size());
    }
    const std::uint32_t in = state()->avail_in;
    const std::uint32_t out = state()->avail_out;
    return isal_inflate(state()) == ISAL_DECOMP_OK &&
           (state()->avail_in < in || state()->avail_out < out ||
            state()->block_state == ISAL_BLOCK_FINISH);
  }

  std::optional<Bytes> nextData() {
    while (const auto chunk = chunks_.next()) {
      if (chunk->type == "IDAT") {
        inData_ = true;
        if (!chunk->contents.empty()) return chunk->contents;
      } else if (inData_ || chunk->type == "tRNS") {
        return std::nullopt;
      }
    }
    return std::nullopt;
  }

  Chunks chunks_;
  Scratch state_;
  bool inData_ = false;
};

/// Bands of filtered rows, unpacked by a helper ahead of the reader where there is a place for one.
class Bands {
 public:
  Bands(Bytes bytes, std::size_t rowBytes, std::size_t rows)
      : inflater_(bytes),
        rowBytes_(rowBytes),
        rows_(rows),
        bandRows_(std::clamp<std::size_t>(bandBytes / rowBytes, 1, rows)),
        count_((rows + bandRows_ - 1) / bandRows_) {
    // A pixel of three bytes is read as one of four.
    for (Scratch& band : memory_) band = Scratch(bandRows_ * rowBytes + 1);
  }
  ~Bands() {
    {
      const std::lock_guard lock(mutex_);
      ended_ = true;
    }
    changed_.notify_all();
    if (helper_.joinable()) helper_.join();
  }
  Bands(const Bands&) = delete;
  Bands& operator=(const Bands&) = delete;

  bool ready() const {
    return inflater_.ready() && std::all_of(memory_.begin(), memory_.end(),
                                            [](const Scratch& band) { return bool(band); });
  }

  void getHelper(unsigned threads) {
    // Threads cost about what such a number of bands does.
    constexpr std::size_t worthIt = 8;
    if (threads < 2 || count_ < worthIt || !PictureAtWork::leavesRoom(threads)) return;
    try {
      helping_ = true;
      helper_ = std::thread([this, threads] { help(threads); });
    } catch (const std::system_error&) {
      helping_ = false;
    }
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
    if (row_ != rows_) return false;
    if (helper_.joinable()) helper_.join();
    return inflater_.finish(memory_[0].data());
  }

 private:
  std::uint8_t* bandAt(std::size_t band) const { return memory_[band % memory_.size()].data(); }

  bool fill(std::size_t band) {
    return inflater_.fill(bandAt(band), std::min(bandRows_, rows_ - band * bandRows_) * rowBytes_);
  }

  /// Waits for the helper's band, or unpacks it here.
  bool nextBand() {
    std::unique_lock lock(mutex_);
    reading_ = row_ / bandRows_;
    changed_.notify_all();
    changed_.wait(lock, [&] { return filled_ > reading_ || !helping_; });
    if (filled_ > reading_) return true;
    if (damaged_ || !fill(reading_)) return false;
    filled_ = reading_ + 1;
    return true;
  }

  void help(unsigned threads) {
    std::unique_lock lock(mutex_);
    while (!ended_ && !damaged_ && filled_ < count_ && PictureAtWork::leavesRoom(threads)) {
      // All bands but the one that is being read may be filled.
      if (filled_ - reading_ >= memory_.size()) {
        changed_.wait(lock);
        continue;
      }
      const std::size_t band = filled_;
      lock.unlock();
      const bool done = fill(band);
      lock.lock();
      if (done)
        ++filled_;
      else
        damaged_ = true;
      changed_.notify_all();
    }
    helping_ = false;
    changed_.notify_all();
  }

  Inflater inflater_;
  const std::size_t rowBytes_;
  const std::size_t rows_;
  const std::size_t bandRows_;
  const std::size_t count_;
  std::array<Scratch, 3> memory_;
  std::size_t row_ = 0;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t reading_ = 0;
  std::size_t filled_ = 0;
  bool damaged_ = false;
  bool ended_ = false;
  bool helping_ = false;
  std::thread helper_;
};

class PngRows final : public RowSource {
 public:
  PngRows(Bytes bytes, const PictureHeader& header)
      : width_(header.width),
        height_(header.height),
        unit_(header.hasAlpha ? 4 : 3),
        bands_(bytes, width_ * unit_ + 1, height_),
        above_(width_ * 4) {
    if (above_) std::memset(above_.data(), 0, width_ * 4);
  }

  bool start(unsigned threads) {
    if (!bands_.ready() || !above_) return false;
    bands_.getHelper(threads);
    return true;
  }
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
  Scratch above_;
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

std::unique_ptr<RowSource> openPngRows(Bytes bytes, const PictureHeader& header, unsigned threads) {
  constexpr std::size_t widest = std::size_t{1} << 28;
  if (!isUsual(bytes, header) || header.width > widest || !canHold(bytes, header)) return nullptr;
  auto rows = std::make_unique<PngRows>(bytes, header);
  return rows->start(threads) ? std::move(rows) : nullptr;
}

}  // namespace vecamera::device
