#pragma once

#include <memory>

#include "device/imaging/base/RowSource.h"
#include "device/imaging/base/ThreadBudget.h"
#include "device/imaging/codecs/Codecs.h"

namespace vecamera::device::imaging {

/// The rows of the most usual PNGs: eight bits a channel, RGB with or without alpha, not interlaced
/// and without a transparent colour. Null for others, and where the bytes cannot hold the picture.
/// A helper unpacks a large one ahead of the reader. Chunks and their checksums
/// are checked; a PNG that fails here fails as a whole.
std::unique_ptr<RowSource> openPngRows(Bytes bytes, const PictureHeader& header,
                                       const ThreadBudget& threads);

}  // namespace vecamera::device::imaging
