#pragma once

#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/base/RowSource.h"
#include "device/imaging/base/ThreadBudget.h"

namespace vecamera::device::imaging {

// JPEG through libjpeg-turbo: grey, RGB, YCbCr, CMYK and YCCK, sequential and progressive.

inline constexpr PictureFormat jpegFormat{"JPEG", "public.jpeg", "jpg", "image/jpeg"};
/// Leads the Exif block in its segment.
inline constexpr std::string_view jpegExifMarker("Exif\0\0", 6);

ImageResult<PictureHeader> readJpegHeader(Bytes bytes);
ImageResult<std::unique_ptr<RowSource>> openJpegRows(Bytes bytes, const PictureHeader& header,
                                                     DecodeScale scale,
                                                     const ThreadBudget& threads);

/// The scale (numerator 1, 2, 3 or 8) to decode at where each pixel of the result spans that many
/// stored ones. The decoder scales each block by itself, which leaves aliasing in the decoded
/// pixels. It is given more of them than the result has, so that the resampler filters most of the
/// aliasing out.
DecodeScale jpegDecodeScale(double storedPerResult);
/// Whether the format has such sides.
bool fitsIntoJpeg(std::size_t width, std::size_t height);
/// Whether so few bytes can be a picture of the claimed size at all.
bool jpegCanHold(Bytes bytes, const PictureHeader& header);
/// The chroma subsampling of a picture that is written at the quality: pixels per stored sample of
/// chroma, along both axes.
int chromaSubsamplingFor(int quality);
/// How many decoded samples of luma each pixel of the result needs, along both axes. Measured with
/// a zone plate: with these, the root mean square of the aliasing is about 1 percent of the
/// amplitude above Nyquist. A scale at which the decoder leaves more aliasing needs more samples.
inline constexpr double neededLumaSamples = 2.4;

/// Sequential JPEG with alpha composed over white, chroma at half resolution along both axes below
/// quality 100 and at full resolution at 100. `quality` is libjpeg's, 0 to 100. An Exif block is
/// written where it is not empty. `unsupported` for sides over 65500.
ImageResult<EncodedBytes> encodeJpegBitmap(const Bitmap& bitmap, int quality, Bytes exif);

}  // namespace vecamera::device::imaging
