#include "VECamera/result/LibraryAsset.h"

namespace vecamera {

namespace {

/// How the change that adds an asset ended.
struct Change {
  bool isSaved = false;
  std::optional<std::string> error;
};

Task<Change> addAsset(Platform platform, AddResource addResource) {
  const auto block = [addResource](PHAssetChanges& changes) {
    addResource(changes.creationRequestForAsset());
  };
  Change change;
  try {
    change.isSaved =
        co_await performChangesAsync(platform.photoLibrary, platform.background, block);
  } catch (const NSErrorException& thrown) {
    change.error = thrown.error().localizedDescription();
  }
  co_return change;
}

}  // namespace

Task<ResultPair> newAssetResult(ResultContext context, AddResource addResource,
                                std::string extension) {
  const Platform& platform = context.platform;
  const auto identifier = std::make_shared<SharedSlot<const std::string>>();
  // It has a name because g++ 12 destroys a lambda twice that is made in the call of an awaited
  // function.
  AddResource addIdentified = [addResource = std::move(addResource),
                               identifier](PHAssetCreationRequest& request) {
    if (!addResource(request)) return false;
    identifier->store(std::make_shared<const std::string>(
        request.placeholderLocalIdentifier().value_or(std::string())));
    return true;
  };
  const auto change = co_await addAsset(platform, std::move(addIdentified));
  if (change.error) co_return writeFailure(*change.error);
  const auto given = identifier->load();
  if (!change.isSaved || !given || given->empty()) co_return ResultPair{};

  const std::string nativeUri =
      "assets-library://asset/asset." + extension + "?id=" + *given + "&ext=" + extension;
  const auto url = platform.urls.URLWithString(nativeUri);
  if (!url) co_return writeFailure("URL PathIsWrong " + nativeUri);
  const auto encoded =
      platform.urls.addingPercentEncoding(context.urlTransformer(*url).absoluteString(), "&");
  platform.log.debug("nativeUri :" + encoded.value_or(std::string()));
  if (!encoded) co_return ResultPair{std::nullopt, Dictionary()};
  co_return success(*encoded);
}

Task<void> saveToAlbum(Platform platform, AddResource addResource, std::function<void()> onEnd) {
  const auto change = co_await addAsset(platform, std::move(addResource));
  if (change.error) {
    platform.log.error("", "error : " + *change.error, pluginSourceFile, 354,
                       "resultForImage(_:info:)");
  } else {
    platform.log.debug(change.isSaved ? "taskResult true" : "taskResult false");
    if (change.isSaved) platform.log.debug("save photoAlbum success");
  }
  if (onEnd) onEnd();
}

}  // namespace vecamera
