#pragma once

#include <memory>

#include "device/imaging/Codecs.h"
#include "device/imaging/Helpers.h"
#include "device/imaging/Picture.h"

namespace vecamera::device {

/// The source as PNG; the threads do not change the bytes. A JPEG that is
/// kept as it is stored goes from its rows to the file's without ever being a whole bitmap; grey
/// ones stay grey. Nothing where a picture that shows cannot be decoded or the memory cannot be
/// had. Any thread.
Encoding pngOf(const std::shared_ptr<const Source>& source, const PictureThreads& threads);

}  // namespace vecamera::device
