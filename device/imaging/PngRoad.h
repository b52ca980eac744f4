#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "device/imaging/Picture.h"

namespace vecamera::device {

/// The source as PNG, on up to `threads` threads, which do not change the bytes. A JPEG that is
/// kept as it is stored goes from its rows to the file's without ever being a whole bitmap; grey
/// ones stay grey. Nothing where a picture that shows cannot be decoded or the memory cannot be
/// had. Any thread.
std::optional<std::vector<std::uint8_t>> pngOf(const std::shared_ptr<const Source>& source,
                                               unsigned threads);

}  // namespace vecamera::device
