#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>

#include "VECamera/platform/Value.h"
#include "device/media/base/MediaErrors.h"
#include "device/media/base/MovieFormats.h"

namespace vecamera::device::media {

/// What the library and the pickers need to know of a movie.
struct MovieFacts {
  /// By the contents.
  MovieFormat format;
  /// As displayed: upright and with square pixels.
  std::size_t width = 0;
  std::size_t height = 0;
  /// Of the frames as stored, and what shows them upright, as a value of the Exif tag (1 to 8).
  std::size_t storedWidth = 0;
  std::size_t storedHeight = 0;
  int orientation = 1;
  /// Nothing where the file has none, as with what browsers record.
  std::optional<double> durationSeconds;
  bool hasAudio = false;
};

/// Fails for what is no movie of these formats or has no video track. Reads the head and a few
/// frames; safe on hostile bytes. Any thread.
MediaResult<MovieFacts> probeMovie(const Data& movie);
MediaResult<MovieFacts> probeMovie(const std::filesystem::path& movie);

/// A JPEG of a frame near the start, upright, no side longer than `maxSide` pixels and never
/// enlarged: the first that is not all black, else the first. Fails for no pixels. Safe on hostile
/// bytes. Any thread.
MediaResult<Data> posterFrame(const Data& movie, std::size_t maxSide);
MediaResult<Data> posterFrame(const std::filesystem::path& movie, std::size_t maxSide);

}  // namespace vecamera::device::media
