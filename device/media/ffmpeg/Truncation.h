#pragma once

#include "device/media/ffmpeg/ByteSource.h"

namespace vecamera::device::media {

// Whether a file ends before what it announces. FFmpeg reads such files without an error.

/// Walks the boxes at the top of an MPEG-4 or QuickTime file (ISO/IEC 14496-12, 4.2).
MediaResult<bool> isMpeg4Truncated(const ByteSource& bytes);
/// By the size that the segment of a Matroska file announces.
MediaResult<bool> isMatroskaTruncated(const ByteSource& bytes);
/// Whether there is such a size: a writer that came to the end leaves one.
MediaResult<bool> announcesSegmentSize(const ByteSource& bytes);
/// Walks the chunks at the top of an AVI file, of which long movies have several.
MediaResult<bool> isAviTruncated(const ByteSource& bytes);

}  // namespace vecamera::device::media
