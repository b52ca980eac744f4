#pragma once

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/ThreadBudget.h"
#include "device/imaging/pipeline/LazyImage.h"

namespace vecamera::device::imaging {

/// Makes the pixels of a source, as stored: decodes what is encoded, draws what is recorded. A
/// drawing that only orients, scales and moves is one pass from the encoded bytes: decoded no finer
/// than needed, oriented exactly, resampled once. Any thread.
ImageResult<Bitmap> render(const LazyImage& image, const ThreadBudget& threads = {});

}  // namespace vecamera::device::imaging
