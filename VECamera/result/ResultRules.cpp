#include "VECamera/result/ResultRules.h"

#include "VECamera/platform/UIKit.h"

namespace vecamera {

ResultPair success(Value callbackUri) {
  // Not from a list of pairs, which would copy a long text.
  Dictionary payload;
  payload.emplace("callbackURI", std::move(callbackUri));
  return {std::nullopt, std::move(payload)};
}

ResultPair writeFailure(std::string message) {
  return {CommandStatus::UNABLE_FILE_WRITE, Dictionary{{"errorMsg", std::move(message)}}};
}

double compressionQuality(const PictureOptions& options) {
  const bool unsized =
      !options.targetSize || (options.targetSize->width <= 0 && options.targetSize->height <= 0);
  const bool untouched = !options.allowsEditing && unsized && !options.correctOrientation;
  const bool asStored =
      options.quality == 100 || options.sourceType != UIImagePickerControllerSourceType::camera;
  if (untouched && asStored) return 1.0;
  // Settled: the division is of integers, so every quality below 100 is the lowest one.
  return static_cast<double>(options.quality / 100);
}

std::string_view temporaryFileExtension(const PictureOptions& options) {
  return options.encodingType == EncodingType::encodingTypePNG ? "png" : "jpg";
}

std::optional<URL> urlIn(const Dictionary& info, std::string_view key) {
  const Value* value = find(info, key);
  return value && value->url() ? std::optional(*value->url()) : std::nullopt;
}

}  // namespace vecamera
