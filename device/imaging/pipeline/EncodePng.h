#pragma once

#include <memory>

#include "device/imaging/base/EncodedBytes.h"
#include "device/imaging/base/ImageResult.h"
#include "device/imaging/base/ThreadBudget.h"
#include "device/imaging/pipeline/LazyImage.h"

namespace vecamera::device::imaging {

/// The source as PNG; the number of threads does not change the bytes. A JPEG that is kept as it is
/// stored goes from its rows to the file's without ever being a whole bitmap; grey ones stay grey.
/// Any thread.
ImageResult<EncodedBytes> encodePng(const std::shared_ptr<const LazyImage>& image,
                                    const ThreadBudget& threads);

}  // namespace vecamera::device::imaging
