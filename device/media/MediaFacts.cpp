#include "device/media/MediaFacts.h"

#include <exception>

#include "device/foundation/files/WholeFiles.h"
#include "device/imaging/codecs/Codecs.h"
#include "device/media/Movies.h"
#include "device/media/ffmpeg/Sha256.h"

namespace vecamera::device::media {
namespace {

/// "jpeg" for "jpg", otherwise the file extension.
std::string nameOf(std::string_view fileExtension) {
  return std::string(fileExtension == "jpg" ? "jpeg" : fileExtension);
}

MediaResult<void> addDigest(const Data& bytes, MediaFacts& facts) {
  Sha256 digest;
  digest.update(bytes.bytes());
  facts.byteCount = bytes.size();
  facts.sha256 = digest.finish();
  return {};
}

MediaResult<void> addDigest(const std::filesystem::path& path, MediaFacts& facts) {
  constexpr std::size_t pieceLength = 1u << 20;
  const auto file = foundation::openFileForReading(path);
  if (!file) return mediaFailure(AVError::unknown, file.error().message);
  Sha256 digest;
  for (;;) {
    const auto piece = foundation::readUpTo(file->descriptor, pieceLength);
    if (!piece) return mediaFailure(AVError::unknown, piece.error().message);
    digest.update(piece->bytes());
    facts.byteCount += piece->size();
    if (piece->size() < pieceLength) break;
  }
  facts.sha256 = digest.finish();
  return {};
}

MediaResult<imaging::PerceptualHash> hashOf(const Data& picture,
                                            const imaging::PictureHeader& header) {
  if (!imaging::PictureLimits().allow(header.width, header.height))
    return mediaFailure(AVError::outOfMemory, "The picture has too many pixels.");
  const auto hash = imaging::perceptualHash(picture.bytes(), header);
  if (!hash) return mediaFailure(AVError::decodeFailed, "The picture cannot be decoded.");
  return *hash;
}

MediaResult<MediaFacts> pictureFacts(const Data& picture) {
  const auto header = imaging::readHeader(picture.bytes());
  if (!header) return mediaFailure(AVError::invalidSourceMedia, "It is no picture.");
  const auto hash = hashOf(picture, *header);
  if (!hash) return hash.failure();
  MediaFacts facts;
  facts.format = nameOf(header->format.fileExtension);
  facts.width = header->width;
  facts.height = header->height;
  facts.orientation = imaging::exifOrientation(header->orientation);
  facts.perceptualHash = *hash;
  if (auto added = addDigest(picture, facts); !added) return added.failure();
  return facts;
}

/// Of the bytes or the file.
template <class Movie>
MediaResult<MediaFacts> movieFacts(const Movie& movie) {
  // Far more than the hash looks at.
  constexpr std::size_t posterSide = 256;
  const auto probed = probeMovie(movie);
  if (!probed) return probed.failure();
  const auto poster = posterFrame(movie, posterSide);
  if (!poster) return poster.failure();
  const auto header = imaging::readHeader(poster->bytes());
  if (!header) return mediaFailure(AVError::decodeFailed, "The movie has no poster.");
  const auto hash = hashOf(*poster, *header);
  if (!hash) return hash.failure();
  MediaFacts facts;
  facts.kind = MediaFacts::Kind::movie;
  facts.format = nameOf(probed->format.fileExtension);
  facts.width = probed->storedWidth;
  facts.height = probed->storedHeight;
  facts.orientation = probed->orientation;
  facts.durationSeconds = probed->durationSeconds;
  facts.perceptualHash = *hash;
  if (auto added = addDigest(movie, facts); !added) return added.failure();
  return facts;
}

}  // namespace

MediaResult<MediaFacts> mediaFacts(const Data& bytes) try {
  return imaging::isPicture(bytes.bytes()) ? pictureFacts(bytes) : movieFacts(bytes);
} catch (const std::exception& thrown) {
  return mediaFailure(thrown);
}

MediaResult<MediaFacts> mediaFacts(const std::filesystem::path& file) try {
  const auto opened = foundation::openFileForReading(file);
  if (!opened) return mediaFailure(AVError::unknown, opened.error().message);
  const auto start = foundation::readUpTo(opened->descriptor, imaging::signatureLength);
  if (!start) return mediaFailure(AVError::unknown, start.error().message);
  if (!imaging::isPicture(start->bytes())) return movieFacts(file);
  const auto whole = foundation::readFile(file);
  if (!whole) return mediaFailure(AVError::unknown, whole.error().message);
  return pictureFacts(*whole);
} catch (const std::exception& thrown) {
  return mediaFailure(thrown);
}

}  // namespace vecamera::device::media
