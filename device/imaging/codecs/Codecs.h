#pragma once

#include <string>
#include <string_view>

#include "device/imaging/base/ImageResult.h"
#include "device/imaging/base/Orientation.h"
#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/base/RowSource.h"
#include "device/imaging/base/ThreadBudget.h"

namespace vecamera::device::imaging {

// Decoding of every format that the device opens, from one table in Codecs.cpp. A header is what
// `readHeader` gave for the same bytes. Any thread.

/// The formats in the order of the table.
std::vector<PictureFormat> pictureFormats();
/// The names of the formats in the order of the table, with commas between them and
/// `lastSeparator` before the last: "JPEG, PNG, HEIC or WebP".
std::string formatNames(std::string_view lastSeparator = ", ");

/// How many of its first bytes show whether a file is a picture.
inline constexpr std::size_t signatureLength = 12;
/// Whether the first bytes announce a format of the table.
bool isPicture(Bytes start);

/// Reads the header only. `unsupported` where the first bytes announce no format of the table;
/// safe on hostile bytes.
ImageResult<PictureHeader> readHeader(Bytes bytes);

/// The smallest scale to decode at for a result of which each pixel spans that many stored ones.
/// Full size for formats that cannot be decoded smaller.
DecodeScale decodeScaleFor(const PictureHeader& header, double storedPerResult);

/// Starts to decode row by row, at that scale, perhaps with a worker. `unsupported` where the
/// picture can only be decoded as a whole.
ImageResult<std::unique_ptr<RowSource>> openRows(Bytes bytes, const PictureHeader& header,
                                                 DecodeScale scale, const ThreadBudget& threads);

/// Decodes all of the picture at that scale and applies the orientation.
ImageResult<Bitmap> decode(Bytes bytes, const PictureHeader& header, const Orientation& orientation,
                           DecodeScale scale, const ThreadBudget& threads);

}  // namespace vecamera::device::imaging
