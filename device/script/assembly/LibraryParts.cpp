#include "device/script/assembly/LibraryParts.h"

#include "device/imaging/base/Orientation.h"
#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/platform/ImageOperations.h"
#include "device/media/Movies.h"

namespace vecamera::device::script {
namespace {

std::optional<photos::ProbedPicture> probePicture(const Data& data) {
  const auto header = imaging::readHeader(data.bytes());
  if (!header) return std::nullopt;
  const bool swaps = imaging::orientationFor(header->orientation).swapsAxes;
  return photos::ProbedPicture{.extension = std::string(header->format.fileExtension),
                               .uti = std::string(header->format.typeIdentifier),
                               .width = static_cast<int>(swaps ? header->height : header->width),
                               .height = static_cast<int>(swaps ? header->width : header->height),
                               .orientation = static_cast<CGImagePropertyOrientation>(
                                   imaging::exifOrientation(header->orientation))};
}

std::optional<photos::ProbedMovie> probeMovieContent(const photos::AssetContent& content) {
  const auto* data = std::get_if<Data>(&content);
  const auto facts = data ? media::probeMovie(*data)
                          : media::probeMovieFile(std::get<std::filesystem::path>(content));
  if (!facts) return std::nullopt;
  return photos::ProbedMovie{.extension = facts->extension,
                             .uti = facts->uniformType,
                             .width = static_cast<int>(facts->width),
                             .height = static_cast<int>(facts->height),
                             .durationSeconds = facts->durationSeconds};
}

}  // namespace

photos::LibraryStore::Parts libraryParts() {
  photos::LibraryStore::Parts parts;
  parts.probePicture = probePicture;
  parts.makeThumbnail = [](const Data& original, int maxSide) {
    return imaging::thumbnail(original, static_cast<std::size_t>(maxSide)).value();
  };
  parts.probeMovie = probeMovieContent;
  parts.makePoster = [](const std::filesystem::path& original, int maxSide) {
    return media::posterFrameOfFile(original, static_cast<std::size_t>(maxSide));
  };
  return parts;
}

}  // namespace vecamera::device::script
