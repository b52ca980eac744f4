#include <exception>

#include "VECamera/result/LibraryAsset.h"

namespace vecamera {
namespace {

/// How much of a movie is read and encoded at a time: a multiple of three, so that the pieces'
/// Base64 texts join to one.
constexpr std::size_t pieceLength = 3U << 18;

void logError(VELog& log, const std::string& error) {
  constexpr int noLine = 0;
  log.error("", "error : " + error, pluginSourceFile, noLine, "resultForVideo(_:info:)");
}

/// The file's data URL; nothing where it is longer than the host allows, the file cannot be read,
/// or memory is short.
std::optional<std::string> dataUrlOf(const std::string& path, const Platform& platform) try {
  const auto file = platform.fileManager.fileHandleForReadingAtPath(path);
  if (!file) return std::nullopt;
  std::string text = "data:video/mp4;base64,";
  const auto length = text.size() + (file->size() + 2) / 3 * 4;
  if (length > platform.maxMovieDataUrlBytes.value_or(length)) return std::nullopt;
  text.reserve(length);
  while (true) {
    const auto piece = file->readDataUpToLength(pieceLength);
    if (!piece) return std::nullopt;
    platform.base64.appendBase64(text, *piece);
    if (piece->size() < pieceLength) return text;
  }
} catch (const std::exception&) {
  return std::nullopt;
}

/// Adds the movie of a file to a library asset.
AddResource addMovie(const URL& file) {
  return [file](PHAssetCreationRequest& request) {
    request.addResource(PHAssetResourceType::video, file, {});
    return true;
  };
}

/// The path of the exported movie; nothing where there is none.
Task<std::optional<std::string>> exportedMovie(ResultContext context, Dictionary info) {
  const Platform& platform = context.platform;
  const auto movie = urlIn(info, UIImagePickerControllerMediaURL);
  if (!movie) co_return std::nullopt;
  const auto session = platform.assetExports.exportSessionWithAsset(
      platform.assetExports.assetWithURL(*movie), AVAssetExportPresetHighestQuality);
  if (!session) co_return std::nullopt;
  std::string path = context.tempFilePath("mp4");
  session->setOutputFileType(AVFileTypeMPEG4);
  session->setOutputURL(platform.urls.fileURLWithPath(path));
  try {
    co_await exportAsync(session, platform.background);
  } catch (const NSErrorException& thrown) {
    logError(platform.log, thrown.error().localizedDescription());
    co_return std::nullopt;
  }
  co_return path;
}

}  // namespace

Task<ResultPair> resultForVideo(ResultContext context, std::shared_ptr<PictureOptions> options,
                                Dictionary info) {
  using enum DestinationType;
  const Platform& platform = context.platform;
  co_await resumeOn(platform.background);
  const auto destination =
      options && options->destinationType ? *options->destinationType : destinationTypeFileUri;
  const bool savesToAlbum =
      options && options->saveToPhotoAlbum && destination != destinationTypeNativeUri;

  ResultPair result;
  const auto path = co_await exportedMovie(context, std::move(info));
  if (path) {
    const URL url = platform.urls.fileURLWithPath(*path);
    std::function<void()> removeFile;
    if (destination == destinationTypeNativeUri) {
      result = co_await newAssetResult(context, addMovie(url), "MP4");
    } else if (destination == destinationTypeFileUri) {
      result = success(context.urlTransformer(url).absoluteString());
    } else if (auto text = dataUrlOf(*path, platform)) {
      result = success(*std::move(text));
      removeFile = [&files = platform.fileManager, file = *path] { files.removeItemAtPath(file); };
    }
    if (savesToAlbum) {
      platform.log.debug("saveToPhotoAlbum true");
      // The album's copy is made from the file.
      platform.tasks.start(platform.background, saveToAlbum(platform, addMovie(url), removeFile));
    } else if (removeFile) {
      removeFile();
    }
  }

  if (result.payload) {
    if (result.payload->contains("callbackURI")) co_return result;
    if (const Value* error = find(*result.payload, "errorMsg"))
      logError(platform.log, *error->text());
  }
  co_return ResultPair{CommandStatus::FAIL_TAKE_PICTURE,
                       Dictionary{{"errorMsg", "Fail take picture"}}};
}

}  // namespace vecamera
