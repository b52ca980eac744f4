#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "VECamera/platform/Value.h"
#include "device/imaging/comparison/PerceptualHash.h"
#include "device/media/base/MediaErrors.h"

namespace vecamera::device::media {

/// What a picture or movie is, for somebody who compares it with another.
struct MediaFacts {
  enum class Kind { photo, movie };
  Kind kind = Kind::photo;
  /// The format's everyday name, in lower case: "jpeg", "png", "heic", "webp", "mp4", "mov",
  /// "webm".
  std::string format;
  /// In pixels as stored. A HEIC picture counts as stored the way that it is shown.
  std::size_t width = 0;
  std::size_t height = 0;
  /// What shows the stored pixels upright, as the value of the Exif tag (1 to 8): of a picture's
  /// Exif block, or of a movie's display matrix.
  int orientation = 1;
  std::uint64_t byteCount = 0;
  /// Of a movie, where its file has one.
  std::optional<double> durationSeconds;
  /// Of the bytes, in hexadecimal digits.
  std::string sha256;
  /// Of the picture, or of the movie's poster.
  imaging::PerceptualHash perceptualHash;
};

/// Fails for what is neither a picture nor a movie of the device's formats, and for one that cannot
/// be decoded: a picture to its end, and a movie as far as to its poster. A picture is decoded no
/// larger than needed. A movie's file is not read into memory. Safe on hostile bytes. Any thread.
MediaResult<MediaFacts> mediaFacts(const Data& bytes);
MediaResult<MediaFacts> mediaFacts(const std::filesystem::path& file);

}  // namespace vecamera::device::media
