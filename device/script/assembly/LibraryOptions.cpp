#include "device/script/assembly/LibraryOptions.h"

#include "device/imaging/base/Orientation.h"
#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/platform/ImageOperations.h"
#include "device/media/Movies.h"

namespace vecamera::device::script {
namespace {

using photos::StoreError;
using photos::StoreResult;

Failure<StoreError> failureOf(imaging::ImageError error) {
  if (error == imaging::ImageError::outOfMemory)
    return photos::storeFailure(StoreError::Kind::unreadable, "memory is short");
  return photos::storeFailure(StoreError::Kind::invalidResource, "it is no picture");
}

Failure<StoreError> failureOf(const NSError& error) {
  const bool isUnreadable = isMediaError(error, media::AVError::unknown) ||
                            isMediaError(error, media::AVError::outOfMemory);
  std::string message = error.localizedDescription();
  if (message.ends_with('.')) message.pop_back();
  return photos::storeFailure(
      isUnreadable ? StoreError::Kind::unreadable : StoreError::Kind::invalidResource,
      std::move(message));
}

template <class T, class E>
StoreResult<T> storeResult(Result<T, E> result) {
  if (!result) return failureOf(result.error());
  return *std::move(result);
}

StoreResult<photos::AssetFormat> probePicture(const Data& data) {
  const auto header = imaging::readHeader(data.bytes());
  if (!header) return failureOf(header.error());
  const auto shown = imaging::sidesOf(imaging::orientationFor(header->orientation),
                                      imaging::PixelSize{header->width, header->height});
  photos::AssetFormat probed;
  probed.fileExtension = header->format.fileExtension;
  probed.typeIdentifier = header->format.typeIdentifier;
  probed.width = static_cast<int>(shown.width);
  probed.height = static_cast<int>(shown.height);
  probed.orientation =
      static_cast<CGImagePropertyOrientation>(imaging::exifOrientation(header->orientation));
  return probed;
}

StoreResult<photos::AssetFormat> probeMovieContent(const photos::AssetContent& content) {
  const auto facts =
      std::visit([](const auto& movie) { return media::probeMovie(movie); }, content);
  if (!facts) return failureOf(facts.error());
  photos::AssetFormat probed;
  probed.fileExtension = facts->format.fileExtension;
  probed.typeIdentifier = facts->format.typeIdentifier;
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
    return storeResult(imaging::thumbnail(original, static_cast<std::size_t>(maxSide)));
  };
  options.movieFormats = media::movieFormatNames();
  options.probeMovie = probeMovieContent;
  options.makePoster = [](const std::filesystem::path& original, int maxSide) {
    return storeResult(media::posterFrame(original, static_cast<std::size_t>(maxSide)));
  };
  return options;
}

}  // namespace vecamera::device::script
