#pragma once

#include <filesystem>
#include <functional>

#include "device/base/CancellationCheck.h"
#include "device/media/base/MediaErrors.h"

namespace vecamera::device::media {

struct ExportOptions {
  enum class Streams { copyWhereFitting, encodeAlways };

  Streams streams = Streams::copyWhereFitting;
  /// Called with rising values from 0 to 1, on the thread of the call; with 1 when the file is in
  /// its place. May be empty.
  std::function<void(float)> onProgress;
  /// Asked often, on the thread of the call; true ends the export. May be empty.
  CancellationCheck isCancelled;
};

/// Makes an MPEG-4 file of a movie file (MP4, MOV, WebM, Matroska, AVI, MPEG transport stream):
/// its first video track as H.264 and its default audio track, else the first, as AAC, with the
/// index in front. Each track is copied where it already is what browsers and phones play, and
/// encoded otherwise, or where it turns out that it cannot be copied. An encoded frame stands
/// upright; a copied one keeps its display matrix. Sides are even, high dynamic range is tone
/// mapped to BT.709, each frame keeps its time, and gaps in the sound are filled with silence.
///
/// The target has mode 0600, appears when it is complete and must not exist before; its folder
/// must. Safe on hostile files. Memory does not grow with the movie but for its index. Any thread;
/// the first call silences FFmpeg's log and limits its allocations for the whole process.
///
/// An error names the cause (`operationCancelled` for a cancelled export), and then there is no
/// file. These are errors: no movie at all, no video track, a track that cannot be decoded or is
/// encrypted, a frame over 8192 pixels a side, a movie over twelve hours, a gap of over ten minutes
/// in sound that is encoded, and a file that ends before what its boxes, segment or chunks
/// announce. A recording that announces nothing, as browsers leave it, may end anywhere. Damaged
/// frames and sound are left out, as long as they are the smaller part. A copy finds no more damage
/// than frames of which a part is missing, and copies damaged sound.
MediaResult<void> exportMovie(const std::filesystem::path& source,
                              const std::filesystem::path& target, const ExportOptions& options);

}  // namespace vecamera::device::media
