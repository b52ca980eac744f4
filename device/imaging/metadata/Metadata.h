#pragma once

#include "VECamera/platform/Value.h"
#include "device/imaging/base/ImageResult.h"
#include "device/imaging/base/PictureFormat.h"

namespace vecamera::device::imaging {

// The metadata of pictures as the platform's dictionaries. On the top level stand "PixelWidth",
// "PixelHeight" (as stored), "ColorModel", "Depth", "Orientation", "DPIWidth", "DPIHeight"; below
// "{TIFF}", "{Exif}" and "{GPS}" the tags under the platform's names. Numbers are numbers
// (rationals as doubles), texts are texts, several numbers are an array; "Latitude" and
// "Longitude" are degrees without sign beside their reference letters, a "TimeStamp" is
// "HH:MM:SS", with the fraction of the second where there is one. Any thread.

/// The metadata of the picture, for which only its header is read. Metadata that cannot be read is
/// left out.
ImageResult<Dictionary> readProperties(const Data& data);

/// The JPEG or PNG with the properties added to its metadata; a tag that it has already is
/// replaced. Takes what `readProperties` gives, and degrees and altitudes with a sign, which is
/// dropped. Unknown keys and values of the wrong kind are ignored. The pixels are not touched.
/// `unsupported` for other formats and for metadata that does not fit.
ImageResult<Data> writeProperties(const Data& encoded, const Dictionary& properties);

/// The JPEG or PNG with its Exif block replaced; its pixels are not touched. `corrupt` where the
/// file's segments or chunks are damaged; `unsupported` for other formats, and where the block does
/// not fit: a JPEG takes 65527 bytes.
ImageResult<EncodedBytes> embedExif(Bytes encoded, const PictureFormat& format, Bytes exif);

}  // namespace vecamera::device::imaging
