#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

#include "VECamera/platform/Value.h"

namespace vecamera::device::media {

/// What the library and the pickers need to know of a movie.
struct MovieFacts {
  /// "mp4", "mov" or "webm", by the contents.
  std::string extension;
  /// The platform's type identifier.
  std::string uniformType;
  /// As displayed: upright and with square pixels.
  std::size_t width = 0;
  std::size_t height = 0;
  /// Nothing where the file has none, as with what browsers record.
  std::optional<double> durationSeconds;
  bool hasAudio = false;
};

/// Nothing for what is no movie of these kinds or has no video track. Reads the head and a few
/// frames; safe on hostile bytes. Any thread.
std::optional<MovieFacts> probeMovie(const Data& movie);
std::optional<MovieFacts> probeMovieFile(const std::filesystem::path& movie);

/// A JPEG of a frame near the start, upright, no side longer than `maxSide` pixels and never
/// enlarged: the first that is not all black, else the first. Nothing where there is none. Safe on
/// hostile bytes. Any thread.
std::optional<Data> posterFrame(const Data& movie, std::size_t maxSide);
std::optional<Data> posterFrameOfFile(const std::filesystem::path& movie, std::size_t maxSide);

}  // namespace vecamera::device::media
