#include "device/imaging/png/PngWriter.h"

#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>
#include <libdeflate.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <mutex>

#include "device/imaging/base/ScratchBuffer.h"
#include "device/imaging/png/PngChunks.h"
#include "device/imaging/png/RowFilters.h"

namespace vecamera::device::imaging {
namespace {

constexpr std::string_view profileName = "ICC profile";
enum class PngFilter : std::uint8_t { none = 0, paeth = 4 };
constexpr std::size_t maxChunkLength = 0x7FFFFFFF;
/// Long enough that the empty dictionary at its start costs little, short enough to share the work
/// evenly.
constexpr std::size_t targetStripBytes = std::size_t{1} << 18;

/// The compressor's hash of four bytes. It uses as many of its bits as its table is long; these are
/// the bits that it uses always.
unsigned hashOf(const void* fourBytes) {
  constexpr unsigned minTableLength = 64;
  return crc32_iscsi(static_cast<unsigned char*>(const_cast<void*>(fourBytes)), 4, 0) %
         minTableLength;
}

/// ISA-L 2.30 has a fault on x86: it computes the hash of the third position from bits 16 to 47 of
/// the stream's address, not from the bytes there. Where that equals the hash of one of the first
/// three positions, it finds other matches, so that the result depends on the address.
bool dependsOnAddress(const isal_zstream* stream, Bytes plain) {
  constexpr std::size_t hashedBytes = 6;
  if (plain.size() < hashedBytes) return false;
  const auto fromAddress =
      static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(stream) >> 16);
  const unsigned hash = hashOf(&fromAddress);
  return hash == hashOf(&plain[0]) || hash == hashOf(&plain[1]) || hash == hashOf(&plain[2]);
}

/// A piece of a deflate stream that ends on a whole byte and refers to nothing before it.
ImageResult<EncodedBytes> deflatedPiece(Bytes plain) {
  // The highest level that gives the same bytes with AVX-512 as without.
  constexpr std::uint32_t level = 2;
  const ScratchBuffer table(ISAL_DEF_LVL2_DEFAULT);
  // A stored block costs five bytes for each 65535, and the flush five more.
  const ScratchBuffer deflated(plain.size() + plain.size() / 1000 + 64);
  // Streams are more than 64 KB long, so that bits 16 to 47 differ from place to place. Of five in
  // a row four at least have different hashes, as trying all combinations of those bits showed.
  constexpr std::size_t places = 5;
  const ScratchBuffer memory(places * sizeof(isal_zstream));
  if (!table || !deflated || !memory || plain.size() > UINT32_MAX / 2)
    return Failure(ImageError::outOfMemory);
  auto* place = reinterpret_cast<isal_zstream*>(memory.data());
  while (dependsOnAddress(place, plain)) ++place;
  isal_zstream& stream = *place;
  isal_deflate_init(&stream);
  stream.level = level;
  stream.level_buf = table.data();
  stream.level_buf_size = ISAL_DEF_LVL2_DEFAULT;
  stream.flush = FULL_FLUSH;
  stream.next_in = const_cast<std::uint8_t*>(plain.data());
  stream.avail_in = static_cast<std::uint32_t>(plain.size());
  stream.next_out = deflated.data();
  stream.avail_out = static_cast<std::uint32_t>(deflated.size());
  if (isal_deflate(&stream) != COMP_OK || stream.avail_in != 0 || stream.avail_out == 0)
    return Failure(ImageError::outOfMemory);
  return EncodedBytes(deflated.data(), deflated.data() + stream.total_out);
}

/// The Adler-32 checksum of two pieces, one behind the other, from the checksums of each.
std::uint32_t combinedAdler32(std::uint32_t first, std::uint32_t second, std::size_t secondLength) {
  constexpr std::uint64_t modulus = 65521;
  const std::uint64_t firstLow = first & 0xFFFF;
  const std::uint64_t low = (firstLow + (second & 0xFFFF) + modulus - 1) % modulus;
  const std::uint64_t high =
      ((first >> 16) + (second >> 16) + secondLength % modulus * (firstLow + modulus - 1)) %
      modulus;
  return static_cast<std::uint32_t>(high << 16 | low);
}

/// Rows that are filtered and compressed apart from all others.
struct Strip {
  /// Led by the row above the strip, unless it is the first one.
  ScratchBuffer rows;
  std::size_t count = 0;
  bool hasAbove = false;
  // What compressing gives.
  ImageResult<EncodedBytes> deflated = Failure(ImageError::outOfMemory);
  std::uint32_t checksum = 1;
  std::size_t filteredBytes = 0;
};

struct RowShape {
  std::size_t bytes = 0;
  std::size_t pixelBytes = 0;
};

/// Whether at least half of the bytes in some of the rows are as in the pixel to their left, as in
/// drawings and pages of text. The noise of a photograph leaves few of them alike.
bool looksFlat(const Strip& strip, const RowShape& shape) {
  constexpr std::size_t step = 8;
  std::size_t alike = 0;
  std::size_t seen = 0;
  const std::uint8_t* const first = strip.rows.data() + (strip.hasAbove ? shape.bytes : 0);
  for (std::size_t y = 0; y < strip.count; y += step) {
    const std::uint8_t* row = first + y * shape.bytes;
    for (std::size_t i = shape.pixelBytes; i < shape.bytes; ++i)
      alike += row[i] == row[i - shape.pixelBytes];
    seen += shape.bytes - shape.pixelBytes;
  }
  return seen > 0 && alike * 2 >= seen;
}

void filterRows(const Strip& strip, const RowShape& shape, PngFilter filter, std::uint8_t* to) {
  const std::uint8_t* row = strip.rows.data() + (strip.hasAbove ? shape.bytes : 0);
  for (std::size_t y = 0; y < strip.count; ++y, row += shape.bytes, to += shape.bytes) {
    *to++ = static_cast<std::uint8_t>(filter);
    if (filter == PngFilter::paeth)
      filterPaeth(row, strip.hasAbove || y > 0 ? row - shape.bytes : nullptr, shape.bytes,
                  shape.pixelBytes, to);
    else
      std::memcpy(to, row, shape.bytes);
  }
}

/// Filters and compresses.
void compress(Strip& strip, const RowShape& shape) {
  strip.filteredBytes = (shape.bytes + 1) * strip.count;
  const ScratchBuffer filtered(strip.filteredBytes);
  if (!filtered) return;
  const Bytes plain(filtered.data(), strip.filteredBytes);
  filterRows(strip, shape, PngFilter::paeth, filtered.data());
  strip.checksum = libdeflate_adler32(1, plain.data(), plain.size());
  strip.deflated = deflatedPiece(plain);
  if (!strip.deflated || !looksFlat(strip, shape)) return;
  // What repeats itself is often smaller unfiltered, and compressing it twice takes little time.
  filterRows(strip, shape, PngFilter::none, filtered.data());
  auto unfiltered = deflatedPiece(plain);
  if (!unfiltered || unfiltered->size() >= strip.deflated->size()) return;
  strip.checksum = libdeflate_adler32(1, plain.data(), plain.size());
  strip.deflated = std::move(unfiltered);
}

/// A queue of strips. The thread that reads rows adds them, and compresses some itself where too
/// many wait; workers take them as they come.
class StripCompressor {
 public:
  StripCompressor(const RowShape& shape, const ThreadBudget& threads)
      : shape_(shape), work_(threads, [this] { return compressNext(); }) {}

  /// Memory for so many rows, perhaps that of a compressed strip; `rows` is the same in all calls.
  ScratchBuffer memoryFor(std::size_t rows) {
    const std::lock_guard lock(mutex_);
    if (spare_.empty()) return ScratchBuffer(rows * shape_.bytes);
    ScratchBuffer memory = std::move(spare_.back());
    spare_.pop_back();
    return memory;
  }

  void add(Strip& strip) {
    constexpr std::size_t maxWaiting = 3;
    {
      const std::lock_guard lock(mutex_);
      waiting_.push_back(&strip);
    }
    const std::size_t mayWait = work_.requestWorker() ? maxWaiting : 0;
    while (waitingCount() > mayWait) compressNext();
  }

  /// Returns when all strips are compressed.
  ImageResult<void> finish() {
    while (compressNext()) continue;
    return work_.end();
  }

 private:
  bool compressNext() {
    Strip* strip = nullptr;
    {
      const std::lock_guard lock(mutex_);
      if (waiting_.empty()) return false;
      strip = waiting_.front();
      waiting_.pop_front();
    }
    compress(*strip, shape_);
    const std::lock_guard lock(mutex_);
    spare_.push_back(std::move(strip->rows));
    return true;
  }

  std::size_t waitingCount() {
    const std::lock_guard lock(mutex_);
    return waiting_.size();
  }

  const RowShape shape_;
  std::mutex mutex_;
  std::deque<Strip*> waiting_;
  std::vector<ScratchBuffer> spare_;
  /// Last, so that no worker runs when the others are destroyed.
  WorkQueue work_;
};

EncodedBytes headerChunk(const PngPixels& pixels) {
  EncodedBytes contents;
  appendBigEndian(contents, static_cast<std::uint32_t>(pixels.width));
  appendBigEndian(contents, static_cast<std::uint32_t>(pixels.height));
  // Grey, RGB, or RGB and alpha.
  const std::uint8_t type = pixels.channels == 1 ? 0 : pixels.channels == 3 ? 2 : 6;
  contents.insert(contents.end(), {8, type, 0, 0, 0});
  return contents;
}

constexpr std::uint8_t zlibHeader[] = {0x78, 0x01};
/// An empty last block.
constexpr std::uint8_t deflateEnd[] = {0x03, 0x00};

ImageResult<EncodedBytes> profileChunk(const std::vector<std::uint8_t>& profile) {
  EncodedBytes contents(profileName.begin(), profileName.end());
  contents.push_back(0);  // ends the name
  contents.push_back(0);  // the compression method: zlib
  const auto deflated = deflatedPiece(profile);
  if (!deflated) return deflated;
  contents.insert(contents.end(), std::begin(zlibHeader), std::end(zlibHeader));
  contents.insert(contents.end(), deflated->begin(), deflated->end());
  contents.insert(contents.end(), std::begin(deflateEnd), std::end(deflateEnd));
  appendBigEndian(contents, libdeflate_adler32(1, profile.data(), profile.size()));
  return contents;
}

std::size_t rowsPerStrip(std::size_t rowBytes) {
  return std::max<std::size_t>(1, targetStripBytes / (rowBytes + 1));
}

/// Reads the rows strip by strip and compresses them.
ImageResult<void> compressStrips(const PngPixels& pixels, const ThreadBudget& threads,
                                 std::vector<Strip>& strips) {
  const std::size_t rowBytes = pixels.width * pixels.channels;
  const std::size_t maxRows = std::min(rowsPerStrip(rowBytes), pixels.height);
  ScratchBuffer above(rowBytes);
  if (!above) return Failure(ImageError::outOfMemory);
  StripCompressor compressor({rowBytes, pixels.channels}, threads);
  std::size_t y = 0;
  for (Strip& strip : strips) {
    strip.count = std::min(maxRows, pixels.height - y);
    strip.hasAbove = y > 0;
    strip.rows = compressor.memoryFor(maxRows + 1);
    if (!strip.rows) return Failure(ImageError::outOfMemory);
    std::uint8_t* rows = strip.rows.data();
    if (strip.hasAbove) {
      std::memcpy(rows, above.data(), rowBytes);
      rows += rowBytes;
    }
    if (const auto read = pixels.nextRows(rows, strip.count); !read) return read;
    std::memcpy(above.data(), rows + (strip.count - 1) * rowBytes, rowBytes);
    y += strip.count;
    compressor.add(strip);
  }
  if (const auto finished = compressor.finish(); !finished) return finished;
  for (const Strip& strip : strips)
    if (!strip.deflated) return strip.deflated.failure();
  return {};
}

}  // namespace

ImageResult<EncodedBytes> writePng(const PngPixels& pixels, const ThreadBudget& threads) {
  const std::size_t rowBytes = pixels.width * pixels.channels;
  const std::size_t perStrip = rowsPerStrip(rowBytes);
  if (rowBytes >= maxChunkLength / 2) return Failure(ImageError::unsupported);
  std::vector<Strip> strips((pixels.height + perStrip - 1) / perStrip);
  ImageResult<EncodedBytes> profile = EncodedBytes();
  if (pixels.profile) profile = profileChunk(*pixels.profile);
  if (!profile) return profile;
  if (const auto compressed = compressStrips(pixels, threads, strips); !compressed)
    return compressed.failure();

  std::size_t dataBytes = 0;
  for (const Strip& strip : strips) dataBytes += strip.deflated->size() + pngFrameSize;
  EncodedBytes png(pngSignature.begin(), pngSignature.end());
  png.reserve(dataBytes + 1024 + profile->size());
  appendPngChunk(png, "IHDR", headerChunk(pixels));
  if (pixels.profile) appendPngChunk(png, "iCCP", *profile);
  appendPngChunk(png, "IDAT", zlibHeader);
  std::uint32_t checksum = 1;
  for (Strip& strip : strips) {
    appendPngChunk(png, "IDAT", *strip.deflated);
    checksum = combinedAdler32(checksum, strip.checksum, strip.filteredBytes);
    strip.deflated = EncodedBytes();
  }
  EncodedBytes end(std::begin(deflateEnd), std::end(deflateEnd));
  appendBigEndian(end, checksum);
  appendPngChunk(png, "IDAT", end);
  appendPngChunk(png, "IEND", {});
  return png;
}

}  // namespace vecamera::device::imaging
