#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/ThreadBudget.h"
#include "device/imaging/codecs/Codecs.h"

namespace vecamera::device::imaging {

/// The pixels of a PNG to be: eight bits a channel, without padding.
struct PngPixels {
  std::size_t width = 0;
  std::size_t height = 0;
  /// 1 (grey), 3 (RGB) or 4 (RGB and alpha, not premultiplied).
  std::size_t channels = 0;
  /// Null stands for sRGB.
  ColorProfile profile;
  /// Puts the next `count` rows to `to`, one behind the other; false ends the writing. Called from
  /// the top row on, on the thread that writes.
  std::function<bool(std::uint8_t* to, std::size_t count)> nextRows;
};

/// The PNG, with the bytes that any number of threads gives. Rows are filtered and compressed in
/// strips, each by itself, by the calling thread and its helpers. The filter is Paeth's, but in
/// strips that are flat and come out smaller without. Nothing where rows or memory are lacking.
std::optional<std::vector<std::uint8_t>> writePng(const PngPixels& pixels,
                                                  const ThreadBudget& threads);

/// Appends a chunk, with its length and checksum.
void appendPngChunk(std::vector<std::uint8_t>& png, const char (&type)[5], Bytes contents);

}  // namespace vecamera::device::imaging
