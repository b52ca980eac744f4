#pragma once

#include <optional>

#include "device/imaging/Bitmap.h"
#include "device/imaging/Helpers.h"
#include "device/imaging/Picture.h"

namespace vecamera::device {

/// Makes the pixels of a source, as stored: decodes what is encoded, carries out what is recorded.
/// A drawing that only turns, mirrors, scales and moves is one pass from the encoded bytes: decoded
/// no finer than needed, turned exactly, resampled once. Nothing where a picture that shows cannot
/// be decoded or the memory cannot be had. Any thread.
std::optional<Bitmap> render(const Source& source, const PictureThreads& threads = {});

}  // namespace vecamera::device
