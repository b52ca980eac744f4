#include <exception>

#include "VECamera/core/VECameraPlugin.h"
#include "VECamera/result/ResultRules.h"

namespace vecamera {
namespace {

/// How much of a movie is read and encoded at a time: a multiple of three, so that the pieces'
/// Base64 texts join to one.
constexpr std::size_t kPieceLength = 3U << 18;

ResultPair failed() {
  return {CommandStatus::FAIL_TAKE_PICTURE, Dictionary{{"errorMsg", "Fail take picture"}}};
}

/// The file's data URL; nothing where the file cannot be read, or the text be held.
std::optional<std::string> dataUrlOf(const std::string& path, const Platform& platform) try {
  const auto file = platform.fileManager.fileHandleForReadingAtPath(path);
  if (!file) return std::nullopt;
  std::string text(movieDataUrlPrefix);
  text.reserve(text.size() + (file->size() + 2) / 3 * 4);
  while (true) {
    const auto piece = file->readDataUpToLength(kPieceLength);
    if (!piece) return std::nullopt;
    platform.base64.appendBase64(text, *piece);
    if (piece->size() < kPieceLength) return text;
  }
} catch (const std::exception&) {
  return std::nullopt;
}

/// Adds the movie of a file to a library asset.
auto addMovie(const URL& file) {
  return [file](PHAssetCreationRequest& request) {
    request.addResource(PHAssetResourceType::video, file, {});
    return true;
  };
}

}  // namespace

Task<ResultPair> VECameraPlugin::resultForVideo(std::shared_ptr<VECameraPlugin> self,
                                                std::shared_ptr<PictureOptions> options,
                                                Dictionary info) {
  using enum DestinationType;
  const Platform& platform = self->platform_;
  co_await resumeOn(platform.background);
  const auto destination =
      options && options->destinationType ? *options->destinationType : destinationTypeFileUri;
  const bool savesToAlbum =
      options && options->saveToPhotoAlbum && destination != destinationTypeNativeUri;

  ResultPair result = failed();
  bool fileIsNeeded = true;
  const auto path = co_await exportedMovie(self, std::move(info));
  if (path) {
    if (destination == destinationTypeDataUrl) {
      if (auto text = dataUrlOf(*path, platform)) {
        result = success(*std::move(text));
        fileIsNeeded = false;
      }
    } else if (destination == destinationTypeNativeUri) {
      result = co_await newAssetResult(self, addMovie(platform.urls.fileURLWithPath(*path)), "MP4");
    } else {
      result = success(self->urlTransformer(platform.urls.fileURLWithPath(*path)).absoluteString());
    }
  }

  if (path && savesToAlbum) {
    platform.log.debug("saveToPhotoAlbum true");
    platform.tasks.start(platform.background, saveMovieToAlbum(platform, *path, fileIsNeeded));
  } else if (path && !fileIsNeeded) {
    platform.fileManager.removeItemAtPath(*path);
  }
  co_return result;
}

Task<std::optional<std::string>> VECameraPlugin::exportedMovie(std::shared_ptr<VECameraPlugin> self,
                                                               Dictionary info) {
  const Platform& platform = self->platform_;
  const auto movie = urlIn(info, UIImagePickerControllerMediaURL);
  if (!movie) co_return std::nullopt;
  const auto session = platform.assetExports.exportSessionWithAsset(
      platform.assetExports.assetWithURL(*movie), AVAssetExportPresetHighestQuality);
  if (!session) co_return std::nullopt;
  std::string path = self->tempFilePath("mp4");
  session->setOutputFileType(AVFileTypeMPEG4);
  session->setOutputURL(platform.urls.fileURLWithPath(path));
  try {
    co_await exportAsync(session, platform.background);
  } catch (const NSErrorException&) {
    co_return std::nullopt;
  }
  co_return path;
}

Task<void> VECameraPlugin::saveMovieToAlbum(Platform platform, std::string path,
                                            bool fileIsNeeded) {
  co_await saveToAlbum(platform, addMovie(platform.urls.fileURLWithPath(path)));
  if (!fileIsNeeded) platform.fileManager.removeItemAtPath(path);
}

}  // namespace vecamera
