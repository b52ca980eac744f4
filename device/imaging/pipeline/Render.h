#pragma once

#include <optional>

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/ThreadBudget.h"
#include "device/imaging/platform/Picture.h"

namespace vecamera::device::imaging {

/// Makes the pixels of a source, as stored: decodes what is encoded, carries out what is recorded.
/// A drawing that only turns, mirrors, scales and moves is one pass from the encoded bytes: decoded
/// no finer than needed, turned exactly, resampled once. Nothing where a picture that shows cannot
/// be decoded or the memory cannot be had. Any thread.
std::optional<Bitmap> render(const Source& source, const ThreadBudget& threads = {});

}  // namespace vecamera::device::imaging
