#pragma once

#include <memory>
#include <optional>

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/DecodeScale.h"
#include "device/imaging/base/EncodedBytes.h"
#include "device/imaging/base/Orientation.h"
#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/base/RowSource.h"
#include "device/imaging/base/ThreadBudget.h"

namespace vecamera::device::imaging {

/// The format that the first bytes announce, or nothing.
std::optional<PictureFormat> formatOf(Bytes bytes);
/// Reads the header only. Safe on hostile bytes.
ImageResult<PictureHeader> readHeader(Bytes bytes);

/// The smallest scale to decode at for a result of which each pixel spans that many stored ones.
/// The full one for formats that cannot be decoded smaller.
DecodeScale decodeScaleFor(const PictureHeader& header, double storedPerResult);

/// Starts to decode row by row, at that scale, perhaps with a worker. `unsupported` where the
/// picture can only be decoded as a whole.
ImageResult<std::unique_ptr<RowSource>> openRows(Bytes bytes, const PictureHeader& header,
                                                 DecodeScale scale, const ThreadBudget& threads);

/// Decodes all of the picture at that scale and applies the orientation.
ImageResult<Bitmap> decode(Bytes bytes, const PictureHeader& header, const Orientation& orientation,
                           DecodeScale scale, const ThreadBudget& threads);

}  // namespace vecamera::device::imaging
