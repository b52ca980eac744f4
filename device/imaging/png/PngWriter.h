#pragma once

#include <functional>

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/base/ThreadBudget.h"

namespace vecamera::device::imaging {

/// The pixels to be written: eight bits a channel, without padding.
struct PngPixels {
  std::size_t width = 0;
  std::size_t height = 0;
  /// 1 (grey), 3 (RGB) or 4 (RGB and alpha, not premultiplied).
  std::size_t channels = 0;
  /// Null stands for sRGB.
  ColorProfile profile;
  /// Writes the next `count` rows to `to`, one behind the other. An error ends the writing. Called
  /// from the top row on, on the thread that calls `writePng`.
  std::function<ImageResult<void>(std::uint8_t* to, std::size_t count)> nextRows;
};

/// The PNG; the number of threads does not change its bytes. Rows are filtered and compressed in
/// strips, each by itself, by the calling thread and its workers. The filter is Paeth's, but for
/// flat strips that come out smaller unfiltered. `unsupported` for rows of a gigabyte and more.
ImageResult<EncodedBytes> writePng(const PngPixels& pixels, const ThreadBudget& threads);

}  // namespace vecamera::device::imaging
