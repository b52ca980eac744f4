#include "device/media/ffmpeg/Truncation.h"

extern "C" {
#include <libavutil/intreadwrite.h>
}

#include <array>
#include <cstring>
#include <optional>
#include <string_view>

namespace vecamera::device::media {
namespace {

/// A variable-size integer of EBML (RFC 8794, 4): the size or, with its marker bit, the identifier
/// of an element.
struct EbmlInteger {
  std::uint64_t value = 0;
  /// How many bytes it takes; none where there is no integer.
  std::size_t bytes = 0;
  /// All bits set, which for a size means that it is unknown.
  bool isUnknown = false;
};

EbmlInteger ebmlInteger(const std::uint8_t* at, const std::uint8_t* end, bool withMarker) {
  if (at == end || *at == 0) return {};
  std::size_t bytes = 1;
  while (!(*at & (0x80u >> (bytes - 1)))) ++bytes;
  if (static_cast<std::size_t>(end - at) < bytes) return {};
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < bytes; ++i) value = value << 8 | at[i];
  const std::uint64_t marker = std::uint64_t{1} << (7 * bytes);
  return {withMarker ? value : value & (marker - 1), bytes, (value & (marker - 1)) == marker - 1};
}

/// The size that the segment announces, and the bytes that are there for it.
struct Segment {
  std::uint64_t size = 0;
  std::uint64_t present = 0;
};

/// Nothing where the head of the file announces no size.
MediaResult<std::optional<Segment>> announcedSegment(const ByteSource& bytes) {
  constexpr std::uint64_t segmentId = 0x18538067;
  std::array<std::uint8_t, 4096> buffer;
  const auto head = bytes.readAt(0, buffer);
  if (!head) return head.failure();
  const std::uint8_t* at = head->data();
  const std::uint8_t* const end = at + head->size();
  while (at < end) {
    const EbmlInteger id = ebmlInteger(at, end, true);
    const EbmlInteger size = ebmlInteger(at + id.bytes, end, false);
    if (id.bytes == 0 || size.bytes == 0 || size.isUnknown) return std::nullopt;
    at += id.bytes + size.bytes;
    const auto rest = static_cast<std::uint64_t>(bytes.size() - (at - head->data()));
    if (id.value == segmentId) return Segment{size.value, rest};
    if (size.value > static_cast<std::uint64_t>(end - at)) return std::nullopt;
    at += size.value;
  }
  return std::nullopt;
}

}  // namespace

MediaResult<bool> isMpeg4Truncated(const ByteSource& bytes) {
  std::int64_t at = 0;
  bool awaitsData = false;
  std::array<std::uint8_t, 16> head;
  while (true) {
    const auto got = bytes.readAt(at, head);
    if (!got) return got.failure();
    if (got->empty()) break;
    // A piece of a head.
    if (got->size() < 8) return true;
    std::uint64_t size = AV_RB32(head.data());
    const std::string_view type(reinterpret_cast<const char*>(head.data()) + 4, 4);
    // The index of a fragment stands before its data.
    if (type == "moof" || type == "mdat") awaitsData = type == "moof";
    // Others at the end may only help to find these, or be what some maker of phones appends.
    const bool isNeeded =
        awaitsData || type == "moov" || type == "mdat" || type == "styp" || type == "sidx";
    // Zero stands for all the rest, one for a size behind the type.
    if (size == 0) break;
    if (size == 1) {
      if (got->size() < 16) return true;
      size = AV_RB64(head.data() + 8);
    }
    if (size < 8) break;
    if (size > static_cast<std::uint64_t>(bytes.size() - at)) return isNeeded;
    at += static_cast<std::int64_t>(size);
  }
  return awaitsData;
}

MediaResult<bool> isMatroskaTruncated(const ByteSource& bytes) {
  const auto segment = announcedSegment(bytes);
  if (!segment) return segment.failure();
  return *segment && (*segment)->size > (*segment)->present;
}

MediaResult<bool> announcesSegmentSize(const ByteSource& bytes) {
  const auto segment = announcedSegment(bytes);
  if (!segment) return segment.failure();
  return segment->has_value();
}

MediaResult<bool> isAviTruncated(const ByteSource& bytes) {
  constexpr std::uint32_t headBytes = 8;
  std::array<std::uint8_t, headBytes> head;
  std::int64_t at = 0;
  while (true) {
    const auto got = bytes.readAt(at, head);
    if (!got) return got.failure();
    if (got->size() < headBytes) return false;
    const std::uint32_t size = AV_RL32(head.data() + 4);
    // A writer that did not come to the end leaves these.
    const bool isUnknown = size == 0 || size == UINT32_MAX;
    if (std::memcmp(head.data(), "RIFF", 4) != 0 || isUnknown) return false;
    // Some count the head, too.
    if (size > bytes.size() - at) return true;
    at += std::int64_t{headBytes} + size + size % 2;
  }
}

}  // namespace vecamera::device::media
