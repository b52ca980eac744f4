#include "VECamera/core/VECameraPlugin.h"
#include "VECamera/result/ResultRules.h"

namespace vecamera {

void VECameraPlugin::imagePickerControllerReturnImageResult() {
  const auto picker = pickerController_.load();
  const auto options = picker ? picker->pictureOptions() : nullptr;
  const auto data = data_.load();
  if (data && metadata_.load()) {
    const auto image = platform_.images.imageWithData(*data);
    mergeMetadata(image ? image->cgImage() : nullptr);
  }

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
  // Settled: a save to the album stood here behind a test for `data`, which is gone by now, so
  // nothing reaches the photo library from this operation.
}

ResultPair VECameraPlugin::heldBackFile(const PictureOptions& options,
                                        const std::shared_ptr<const Data>& data) {
  const auto failure = [](std::string message) {
    return ResultPair{CommandStatus::UNABLE_FILE_WRITE,
                      Dictionary{{"errorMsg", std::move(message)}}};
  };
  const auto url = platform_.urls.URLWithString(tempFilePath(temporaryFileExtension(options)));
  if (!url) return failure("Invalid file path");
  if (data) {
    if (const auto error = platform_.fileManager.writeAtomically(*data, *url))
      return failure(error->localizedDescription());
  }
  return {std::nullopt, Dictionary{{"callbackURI", urlTransformer(*url)}}};
}

}  // namespace vecamera
