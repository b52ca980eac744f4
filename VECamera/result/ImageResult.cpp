#include "VECamera/core/VECameraPlugin.h"
#include "VECamera/result/ResultRules.h"

namespace vecamera {
namespace {

using TextSlot = SharedSlot<const std::string>;

std::string textOf(bool flag) {
  return flag ? "true" : "false";
}

/// Adds the slot's picture to a library asset; false where there is none.
auto addPicture(UIImages& images, std::shared_ptr<SharedSlot<UIImage>> imageSlot) {
  return [&images, imageSlot = std::move(imageSlot)](PHAssetCreationRequest& request) {
    const auto image = imageSlot->load();
    // Settled: the library always gets PNG, whatever encoding the page asked for.
    const auto png = image ? images.UIImagePNGRepresentation(image) : std::nullopt;
    if (png) request.addResource(PHAssetResourceType::photo, *png, {});
    return png.has_value();
  };
}

}  // namespace

Task<ResultPair> VECameraPlugin::resultForImage(std::shared_ptr<VECameraPlugin> self,
                                                std::shared_ptr<PictureOptions> options,
                                                Dictionary info) {
  const Platform& platform = self->platform_;
  co_await resumeOn(platform.background);
  bool savesToAlbum = options->saveToPhotoAlbum;
  const auto imageSlot = std::make_shared<ImageSlot>();

  ResultPair result;
  if (options->destinationType == DestinationType::destinationTypeDataUrl) {
    result = self->dataUrlResult(*options, info, *imageSlot);
  } else if (options->destinationType == DestinationType::destinationTypeFileUri) {
    result = co_await fileResult(self, options, info, imageSlot);
  } else if (options->destinationType == DestinationType::destinationTypeNativeUri) {
    if (const auto reference = urlIn(info, UIImagePickerControllerReferenceURL)) {
      // The picture lives in the library already.
      result = success(self->urlTransformer(*reference).absoluteString());
      savesToAlbum = false;
    } else {
      imageSlot->store(self->retrieveImage(info, *options));
      result = co_await newAssetResult(self, addPicture(platform.images, imageSlot),
                                       std::string(nativeUriExtension(*options)));
    }
  }

  platform.log.debug("saveToPhotoAlbum " + textOf(savesToAlbum));
  if (savesToAlbum) {
    // Settled: a new library asset is saved a second time here.
    if (const auto image = imageSlot->load()) {
      if (auto png = platform.images.UIImagePNGRepresentation(image)) {
        const auto addPng = [png = *std::move(png)](PHAssetCreationRequest& request) {
          request.addResource(PHAssetResourceType::photo, png, {});
          return true;
        };
        platform.tasks.start(platform.background, saveToAlbum(platform, addPng));
      }
    }
  }
  co_return result;
}

ResultPair VECameraPlugin::dataUrlResult(const PictureOptions& options, const Dictionary& info,
                                         ImageSlot& imageSlot) {
  const auto image = retrieveImage(info, options);
  imageSlot.store(image);
  const auto bytes = processImage(image, info, options);
  if (!bytes) return {};
  return success(platform_.base64.base64EncodedString(dataUrlPrefix(options), *bytes));
}

Task<ResultPair> VECameraPlugin::fileResult(std::shared_ptr<VECameraPlugin> self,
                                            std::shared_ptr<PictureOptions> options,
                                            Dictionary info, std::shared_ptr<ImageSlot> imageSlot) {
  using Source = UIImagePickerControllerSourceType;
  const auto image = self->retrieveImage(info, *options);
  imageSlot->store(image);
  const auto bytes = self->processImage(image, info, *options);
  if (!bytes) co_return ResultPair{};
  const std::string path = self->tempFilePath(temporaryFileExtension(*options));
  if (!options->usesGeolocation) co_return self->plainFileResult(*bytes, path);
  const bool fromLibrary = options->sourceType == Source::photoLibrary ||
                           options->sourceType == Source::savedPhotosAlbum;
  // A camera photo is delivered later, when its location has come.
  if (!fromLibrary) co_return ResultPair{};
  ResultPair result = co_await libraryAssetResult(self, info, imageSlot, *bytes, path);
  co_return result;
}

ResultPair VECameraPlugin::plainFileResult(const Data& bytes, const std::string& path) {
  if (!platform_.fileManager.createFileAtPath(path, bytes))
    return writeFailure("Fail write image file");
  const auto url = platform_.urls.URLWithString(path);
  if (!url) return writeFailure("Invalid image path");
  return success(urlTransformer(*url).absoluteString());
}

Task<ResultPair> VECameraPlugin::libraryAssetResult(std::shared_ptr<VECameraPlugin> self,
                                                    Dictionary info,
                                                    std::shared_ptr<ImageSlot> imageSlot,
                                                    Data bytes, std::string path) {
  const Platform& platform = self->platform_;
  const Value* picked = find(info, UIImagePickerControllerPHAsset);
  auto asset = picked ? picked->object<PHAsset>() : nullptr;
  if (!asset) co_return ResultPair{};
  if (const auto reference = urlIn(info, UIImagePickerControllerReferenceURL)) {
    const auto fetched = platform.photoLibrary.fetchAssetsWithALAssetURLs({*reference}, {});
    if (!fetched.empty()) asset = fetched.front();
  }

  std::optional<PHImageData> original;
  std::string failure;
  try {
    original = co_await requestImageDataAndOrientationAsync(
        platform.imageManager, platform.background, asset, PHImageRequestOptions{});
  } catch (const NSErrorException& thrown) {
    failure = thrown.error().localizedDescription();
  }
  if (!original) co_return writeFailure(failure);
  if (auto properties = platform.imageIO.CIImageProperties(original->data))
    self->metadata_.store(std::make_shared<const Dictionary>(*std::move(properties)));
  self->mergeMetadata(imageSlot->load());

  const auto url = platform.urls.URLWithString(path);
  if (!url) co_return ResultPair{};
  if (const auto error = platform.fileManager.writeAtomically(bytes, *url))
    co_return writeFailure(error->localizedDescription());
  co_return success(self->urlTransformer(*url));
}

Task<ResultPair> VECameraPlugin::newAssetResult(std::shared_ptr<VECameraPlugin> self,
                                                AddResource addResource, std::string extension) {
  const Platform& platform = self->platform_;
  const auto identifierSlot = std::make_shared<TextSlot>();
  const auto change = [&library = platform.photoLibrary, addResource, identifierSlot] {
    auto& request = library.creationRequestForAsset();
    if (!addResource(request)) return;
    identifierSlot->store(std::make_shared<const std::string>(
        request.placeholderLocalIdentifier().value_or(std::string())));
  };

  bool changed = false;
  std::optional<std::string> failure;
  try {
    changed = co_await performChangesAsync(platform.photoLibrary, platform.background, change);
  } catch (const NSErrorException& thrown) {
    failure = thrown.error().localizedDescription();
  }
  if (failure) co_return writeFailure(*failure);
  const auto identifier = identifierSlot->load();
  if (!changed || !identifier || identifier->empty()) co_return ResultPair{};

  const std::string address = nativeUri(extension, *identifier);
  const auto url = platform.urls.URLWithString(address);
  if (!url) co_return writeFailure("URL PathIsWrong " + address);
  const auto encoded =
      platform.urls.addingPercentEncoding(self->urlTransformer(*url).absoluteString(), "&");
  platform.log.debug("nativeUri :" + encoded.value_or(std::string()));
  if (!encoded) co_return ResultPair{std::nullopt, Dictionary()};
  co_return success(*encoded);
}

Task<void> VECameraPlugin::saveToAlbum(Platform platform, AddResource addResource) {
  const auto change = [&library = platform.photoLibrary, addResource] {
    addResource(library.creationRequestForAsset());
  };
  bool saved = false;
  std::optional<std::string> failure;
  try {
    saved = co_await performChangesAsync(platform.photoLibrary, platform.background, change);
  } catch (const NSErrorException& thrown) {
    failure = thrown.error().localizedDescription();
  }
  if (failure) {
    platform.log.error("", "error : " + *failure, pluginSourceFile, 354, "resultForImage(_:info:)");
    co_return;
  }
  platform.log.debug("taskResult " + textOf(saved));
  if (saved) platform.log.debug("save photoAlbum success");
}

}  // namespace vecamera
