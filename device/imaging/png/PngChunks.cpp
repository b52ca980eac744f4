#include "device/imaging/png/PngChunks.h"

#include <libdeflate.h>

#include <algorithm>

namespace vecamera::device::imaging {
namespace {

constexpr std::size_t typeOffset = 4;
constexpr std::size_t contentsOffset = 8;

std::uint32_t bigEndianAt(const std::uint8_t* bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
         std::uint32_t{bytes[2]} << 8 | bytes[3];
}

}  // namespace

bool PngChunk::hasRightChecksum() const {
  const std::size_t end = contentsOffset + contents.size();
  return libdeflate_crc32(0, whole.data() + typeOffset, end - typeOffset) ==
         bigEndianAt(whole.data() + end);
}

PngChunkReader::PngChunkReader(Bytes png)
    : rest_(png.subspan(std::min(pngSignature.size(), png.size()))) {}

std::optional<PngChunk> PngChunkReader::next() {
  if (rest_.size() < pngFrameSize) return std::nullopt;
  const std::size_t length = bigEndianAt(rest_.data());
  if (length > rest_.size() - pngFrameSize) return std::nullopt;
  const PngChunk chunk{{reinterpret_cast<const char*>(rest_.data()) + typeOffset, 4},
                       rest_.subspan(contentsOffset, length),
                       rest_.first(length + pngFrameSize)};
  rest_ = rest_.subspan(length + pngFrameSize);
  return chunk;
}

void appendBigEndian(std::vector<std::uint8_t>& bytes, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes.push_back(static_cast<std::uint8_t>(number >> shift));
}

void appendPngChunk(std::vector<std::uint8_t>& png, const char (&type)[5], Bytes contents) {
  appendBigEndian(png, static_cast<std::uint32_t>(contents.size()));
  const std::size_t checkedFrom = png.size();
  png.insert(png.end(), type, type + 4);
  png.insert(png.end(), contents.begin(), contents.end());
  appendBigEndian(png, libdeflate_crc32(0, png.data() + checkedFrom, png.size() - checkedFrom));
}

}  // namespace vecamera::device::imaging
