#include "VECamera/result/LibraryAsset.h"

namespace vecamera {

namespace {

/// How the change that adds an asset ended.
struct AddedAsset {
  bool isSaved = false;
  /// Empty where the library gave none.
  std::string identifier;
  std::optional<std::string> error;
};

Task<AddedAsset> addAsset(Platform platform, AddResource addResource) {
  const auto identifier = std::make_shared<SharedSlot<const std::string>>();
  const auto change = [&library = platform.photoLibrary, addResource, identifier] {
    auto& request = library.creationRequestForAsset();
    if (!addResource(request)) return;
    identifier->store(std::make_shared<const std::string>(
        request.placeholderLocalIdentifier().value_or(std::string())));
  };
  AddedAsset added;
  try {
    added.isSaved =
        co_await performChangesAsync(platform.photoLibrary, platform.background, change);
  } catch (const NSErrorException& thrown) {
    added.error = thrown.error().localizedDescription();
  }
  if (const auto given = identifier->load()) added.identifier = *given;
  co_return added;
}

}  // namespace

Task<ResultPair> newAssetResult(ResultContext context, AddResource addResource,
                                std::string extension) {
  const Platform& platform = context.platform;
  const auto added = co_await addAsset(platform, std::move(addResource));
  if (added.error) co_return writeFailure(*added.error);
  if (!added.isSaved || added.identifier.empty()) co_return ResultPair{};

  const std::string nativeUri =
      "assets-library://asset/asset." + extension + "?id=" + added.identifier + "&ext=" + extension;
  const auto url = platform.urls.URLWithString(nativeUri);
  if (!url) co_return writeFailure("URL PathIsWrong " + nativeUri);
  const auto encoded =
      platform.urls.addingPercentEncoding(context.urlTransformer(*url).absoluteString(), "&");
  platform.log.debug("nativeUri :" + encoded.value_or(std::string()));
  if (!encoded) co_return ResultPair{std::nullopt, Dictionary()};
  co_return success(*encoded);
}

Task<void> saveToAlbum(Platform platform, AddResource addResource) {
  const auto added = co_await addAsset(platform, std::move(addResource));
  if (added.error) {
    platform.log.error("", "error : " + *added.error, pluginSourceFile, 354,
                       "resultForImage(_:info:)");
    co_return;
  }
  platform.log.debug(added.isSaved ? "taskResult true" : "taskResult false");
  if (added.isSaved) platform.log.debug("save photoAlbum success");
}

}  // namespace vecamera
