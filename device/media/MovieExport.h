#pragma once

#include <filesystem>
#include <functional>
#include <optional>

#include "VECamera/platform/Foundation.h"

namespace vecamera::device::media {

struct ExportOptions {
  enum class Streams { copyWhereFitting, encodeAlways };

  Streams streams = Streams::copyWhereFitting;
  /// Told of rising values from 0 to 1, on the thread of the call; of 1 when the file is in its
  /// place. May be empty.
  std::function<void(float)> progress;
  /// Asked often, on the thread of the call; true ends the export. May be empty.
  std::function<bool()> cancelled;
};

/// Makes an MPEG-4 file of a movie file (MP4, MOV, WebM, Matroska, AVI, MPEG transport stream):
/// its first picture track as H.264 and its default sound track, else the first, as AAC, with the
/// index in front. Each track is copied where it already is what browsers and phones play, and
/// encoded otherwise, which is also what becomes of a copy that turns out not to be possible. An
/// encoded picture stands upright; a copied one keeps the rotation that stands beside it. Sides are
/// even, high dynamic range is brought to BT.709, each picture keeps its time, and the sound is
/// filled with silence where it has gaps.
///
/// The target has mode 0600, appears when it is complete and must not exist before; its folder
/// must. Safe on hostile files. Memory does not grow with the movie but for its index. Any thread;
/// the first call silences FFmpeg's log and limits its allocations for the whole process.
///
/// Nothing on success, else an error of `AVFoundationErrorDomain` that names the cause
/// (`operationCancelled` for a cancelled export), and then there is no file. These are errors: no
/// movie at all, no picture track, a picture or sound track that cannot be decoded or is encrypted,
/// a picture over 8192 pixels a side, a movie over twelve hours, a gap of over ten minutes in sound
/// that is encoded, and a file that ends before what its boxes, segment or chunks announce. A
/// recording that announces nothing, as browsers leave it, may end anywhere. What is damaged is
/// left out, of pictures and of sound, as long as it is the smaller part. A copy finds no more of
/// that than pictures of which a part is missing, and copies damaged sound.
std::optional<NSError> exportMovie(const std::filesystem::path& source,
                                   const std::filesystem::path& target,
                                   const ExportOptions& options);

}  // namespace vecamera::device::media
