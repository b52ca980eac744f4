#pragma once

#include <memory>

#include "device/imaging/base/ThreadBudget.h"
#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/platform/Picture.h"

namespace vecamera::device::imaging {

/// The source as PNG; the threads do not change the bytes. A JPEG that is
/// kept as it is stored goes from its rows to the file's without ever being a whole bitmap; grey
/// ones stay grey. Nothing where a picture that shows cannot be decoded or the memory cannot be
/// had. Any thread.
EncodedBytes pngOf(const std::shared_ptr<const Source>& source, const ThreadBudget& threads);

}  // namespace vecamera::device::imaging
