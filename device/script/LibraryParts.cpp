#include "device/script/LibraryParts.h"

#include "device/imaging/Pictures.h"
#include "device/imaging/Turn.h"
#include "device/media/Movies.h"

namespace vecamera::device {
namespace {

std::optional<ProbedPicture> probePicture(const Data& data) {
  const auto info = probe(data);
  if (!info) return std::nullopt;
  ProbedPicture probed;
  probed.extension = fileExtension(info->format);
  probed.uti = typeIdentifier(info->format);
  probed.width = static_cast<int>(info->displayedWidth);
  probed.height = static_cast<int>(info->displayedHeight);
  probed.orientation = static_cast<CGImagePropertyOrientation>(exifOrientation(info->orientation));
  return probed;
}

std::optional<ProbedMovie> probeMovieContent(const AssetContent& content) {
  const auto* data = std::get_if<Data>(&content);
  const auto facts =
      data ? probeMovie(*data) : probeMovieFile(std::get<std::filesystem::path>(content));
  if (!facts) return std::nullopt;
  ProbedMovie probed;
  probed.extension = facts->extension;
  probed.uti = facts->uniformType;
  probed.width = static_cast<int>(facts->width);
  probed.height = static_cast<int>(facts->height);
  probed.durationSeconds = facts->durationSeconds;
  return probed;
}

}  // namespace

LibraryStore::Parts libraryParts() {
  LibraryStore::Parts parts;
  parts.probePicture = probePicture;
  parts.makeThumbnail = [](const Data& original, int maxSide) {
    return thumbnail(original, static_cast<std::size_t>(maxSide));
  };
  parts.probeMovie = probeMovieContent;
  parts.makePoster = [](const std::filesystem::path& original, int maxSide) {
    return posterFrameOfFile(original, static_cast<std::size_t>(maxSide));
  };
  return parts;
}

std::filesystem::path libraryFolder(const std::filesystem::path& home) {
  return home / "Library" / "Photos";
}

}  // namespace vecamera::device
