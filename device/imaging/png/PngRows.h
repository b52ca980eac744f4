#pragma once

#include "device/imaging/base/ImageResult.h"
#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/base/RowSource.h"
#include "device/imaging/base/ThreadBudget.h"

namespace vecamera::device::imaging {

/// The rows of the most usual PNGs: eight bits a channel, RGB with or without alpha, not interlaced
/// and without a transparent colour; `unsupported` for others. A worker inflates a large one ahead
/// of the reader. Critical chunks and checksums are verified as strictly as by libspng, which reads
/// the other kinds: a PNG that is corrupt here is corrupt there. docs/performance.md says why
/// libspng does not read all kinds.
ImageResult<std::unique_ptr<RowSource>> openPngRows(Bytes bytes, const PictureHeader& header,
                                                    DecodeScale scale, const ThreadBudget& threads);

}  // namespace vecamera::device::imaging
