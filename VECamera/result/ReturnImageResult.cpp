#include "VECamera/core/VECameraPlugin.h"
#include "VECamera/result/ResultRules.h"

namespace vecamera {

void VECameraPlugin::imagePickerControllerReturnImageResult() {
  const auto picker = pickerController_.load();
  const auto options = picker ? picker->pictureOptions() : nullptr;
  const auto data = data_.load();
  if (data && metadata_.load()) mergeMetadata(platform_.images.imageWithData(*data));

  std::optional<ResultPair> result;
  if (options && options->destinationType == DestinationType::destinationTypeFileUri) {
    result = heldBackFile(*options, data);
  } else if (options && options->destinationType == DestinationType::destinationTypeDataUrl) {
    result.emplace();
    result->payload.emplace();
    // Settled: the Base64 text goes as bytes and without the prefix of a data URL.
    if (data)
      result->payload->emplace("callbackURI",
                               Data::copyOf(platform_.base64.base64EncodedString("", *data)));
  }
  if (result) answer(*result);

  resetToIdle();
  data_.store(nullptr);
  metadata_.store(nullptr);
  // Settled: `data` is gone by now, so nothing reaches the photo library from this operation.
  if (options) saveHeldBackPicture(*options);
}

void VECameraPlugin::saveHeldBackPicture(const PictureOptions& options) {
  const auto data = data_.load();
  if (!data || !options.saveToPhotoAlbum ||
      options.destinationType == DestinationType::destinationTypeDataUrl)
    return;
  const auto image = platform_.images.imageWithData(*data);
  const auto png = image ? platform_.images.UIImagePNGRepresentation(image) : std::nullopt;
  if (!png) return;
  platform_.photoLibrary.performChanges(
      [&library = platform_.photoLibrary, png] {
        library.creationRequestForAsset().addResource(PHAssetResourceType::photo, *png, {});
      },
      [&process = platform_.process](bool success, const std::optional<NSError>& error) {
        if (success)
          process.print("save photoAlbum success");
        else if (error)
          process.print("error : " + error->localizedDescription());
      });
}

ResultPair VECameraPlugin::heldBackFile(const PictureOptions& options,
                                        const std::shared_ptr<const Data>& data) {
  const auto url = platform_.urls.URLWithString(tempFilePath(temporaryFileExtension(options)));
  if (!url) return writeFailure("Invalid file path");
  if (data) {
    if (const auto error = platform_.fileManager.writeAtomically(*data, *url))
      return writeFailure(error->localizedDescription());
  }
  return {std::nullopt, Dictionary{{"callbackURI", urlTransformer(*url)}}};
}

}  // namespace vecamera
