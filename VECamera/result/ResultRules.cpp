#include "VECamera/result/ResultRules.h"

#include "VECamera/platform/UIKit.h"

namespace vecamera {
namespace {

bool isPng(const PictureOptions& options) {
  return options.encodingType == EncodingType::encodingTypePNG;
}

}  // namespace

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

bool hasUsableTargetSize(const PictureOptions& options) {
  return options.targetSize && options.targetSize->width > 0 && options.targetSize->height > 0;
}

std::string_view dataUrlPrefix(const PictureOptions& options) {
  return isPng(options) ? "data:image/png;base64," : "data:image/jpeg;base64,";
}

std::string_view temporaryFileExtension(const PictureOptions& options) {
  return isPng(options) ? "png" : "jpg";
}

std::string nativeUri(const PictureOptions& options, std::string_view localIdentifier) {
  const std::string extension = isPng(options) ? "PNG" : "JPG";
  return "assets-library://asset/asset." + extension + "?id=" + std::string(localIdentifier) +
         "&ext=" + extension;
}

}  // namespace vecamera
