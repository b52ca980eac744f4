#pragma once

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/ThreadBudget.h"
#include "device/imaging/pipeline/LazyImage.h"

namespace vecamera::device::imaging {

/// Makes the pixels of a picture, as stored: decodes what is encoded, carries out a draw list. A
/// draw command that only orients, scales and moves takes one pass from the encoded bytes, which
/// decodes no more pixels than needed, orients exactly and resamples once. Any thread.
ImageResult<Bitmap> render(const LazyImage& image, const ThreadBudget& threads = {});

}  // namespace vecamera::device::imaging
