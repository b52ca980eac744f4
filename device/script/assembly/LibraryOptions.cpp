#include "device/script/assembly/LibraryOptions.h"

#include "device/imaging/base/Orientation.h"
#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/platform/ImageOperations.h"
#include "device/media/Movies.h"

namespace vecamera::device::script {
namespace {

std::optional<photos::AssetFormat> probePicture(const Data& data) {
  const auto header = imaging::readHeader(data.bytes());
  if (!header) return std::nullopt;
  const bool swaps = imaging::orientationFor(header->orientation).swapsAxes;
  photos::AssetFormat probed;
  probed.extension = header->format.fileExtension;
  probed.uti = header->format.typeIdentifier;
  probed.width = static_cast<int>(swaps ? header->height : header->width);
  probed.height = static_cast<int>(swaps ? header->width : header->height);
  probed.orientation =
      static_cast<CGImagePropertyOrientation>(imaging::exifOrientation(header->orientation));
  return probed;
}

std::optional<photos::AssetFormat> probeMovieContent(const photos::AssetContent& content) {
  const auto facts =
      std::visit([](const auto& movie) { return media::probeMovie(movie); }, content);
  if (!facts) return std::nullopt;
  photos::AssetFormat probed;
  probed.extension = facts->format.fileExtension;
  probed.uti = facts->format.typeIdentifier;
  probed.width = static_cast<int>(facts->width);
  probed.height = static_cast<int>(facts->height);
  probed.durationSeconds = facts->durationSeconds;
  return probed;
}

}  // namespace

photos::LibraryStore::Options libraryOptions() {
  photos::LibraryStore::Options options;
  options.pictureFormats = imaging::formatNames();
  options.probePicture = probePicture;
  options.makeThumbnail = [](const Data& original, int maxSide) {
    return imaging::thumbnail(original, static_cast<std::size_t>(maxSide)).value();
  };
  options.movieFormats = media::movieFormatNames();
  options.probeMovie = probeMovieContent;
  options.makePoster = [](const std::filesystem::path& original, int maxSide) {
    return media::posterFrame(original, static_cast<std::size_t>(maxSide)).value();
  };
  return options;
}

}  // namespace vecamera::device::script
