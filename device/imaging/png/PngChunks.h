#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "device/imaging/base/PictureFormat.h"

namespace vecamera::device::imaging {

inline constexpr std::string_view pngSignature = "\x89PNG\r\n\x1A\n";

/// Length, type and checksum of a chunk.
inline constexpr std::size_t pngFrameSize = 12;

/// A chunk where it stands in its file.
struct PngChunk {
  std::string_view type;
  Bytes contents;
  /// With length, type and checksum.
  Bytes whole;

  /// Without it a decoder cannot show the picture.
  bool isCritical() const { return type.front() >= 'A' && type.front() <= 'Z'; }
  bool hasRightChecksum() const;
};

/// Walks over the chunks of a PNG behind its signature. Safe on hostile bytes.
class PngChunkReader {
 public:
  explicit PngChunkReader(Bytes png);

  /// Nothing where no whole chunk is left.
  std::optional<PngChunk> next();
  /// What was not read yet.
  Bytes rest() const { return rest_; }

 private:
  Bytes rest_;
};

void appendBigEndian(std::vector<std::uint8_t>& bytes, std::uint32_t number);
/// Appends a chunk, with its length and checksum.
void appendPngChunk(std::vector<std::uint8_t>& png, const char (&type)[5], Bytes contents);

}  // namespace vecamera::device::imaging
