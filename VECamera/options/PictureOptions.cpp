#include "VECamera/options/PictureOptions.h"

#include <atomic>

#include "VECamera/platform/UIKit.h"

namespace vecamera {
namespace {

// Settled: the container asks for the value of the latest command of any plug-in object.
std::atomic<bool> latestUsesGeolocation{false};

std::optional<std::int64_t> integerAt(const VelmoraCommand& command, std::size_t position) {
  const auto argument = command.argument(position);
  return argument ? argument->integerValue() : std::nullopt;
}

std::optional<double> numberAt(const VelmoraCommand& command, std::size_t position) {
  const auto argument = command.argument(position);
  return argument ? argument->numberValue() : std::nullopt;
}

bool booleanAt(const VelmoraCommand& command, std::size_t position) {
  const auto argument = command.argument(position);
  return argument && argument->booleanValue().value_or(false);
}

std::optional<CGSize> sizeAt(const VelmoraCommand& command, std::size_t widthPosition) {
  const auto width = numberAt(command, widthPosition);
  if (!width) return std::nullopt;
  const auto height = numberAt(command, widthPosition + 1);
  if (!height) return std::nullopt;
  return CGSize{*width, *height};
}

template <class Case>
std::optional<Case> caseOf(std::int64_t rawValue, Case last) {
  if (rawValue < 0 || rawValue > static_cast<std::int64_t>(last)) return std::nullopt;
  return static_cast<Case>(rawValue);
}

}  // namespace

std::optional<DestinationType> destinationTypeFromRawValue(std::int64_t rawValue) {
  return caseOf(rawValue, DestinationType::destinationTypeNativeUri);
}

std::optional<EncodingType> encodingTypeFromRawValue(std::int64_t rawValue) {
  return caseOf(rawValue, EncodingType::encodingTypePNG);
}

std::optional<MediaType> mediaTypeFromRawValue(std::int64_t rawValue) {
  return caseOf(rawValue, MediaType::mediaTypeAll);
}

std::shared_ptr<PictureOptions> PictureOptions::createFromTakePictureArguments(
    const CallBackManager& callback) {
  using Source = UIImagePickerControllerSourceType;
  using Camera = UIImagePickerControllerCameraDevice;
  const VelmoraCommand& command = callback.command();
  auto options = std::make_shared<PictureOptions>();

  options->quality = integerAt(command, 0).value_or(50);
  // A value that is given but names no case leaves the field empty; only a missing one has the
  // default.
  const auto destination = integerAt(command, 1);
  options->destinationType = destination ? destinationTypeFromRawValue(*destination)
                                         : DestinationType::destinationTypeNativeUri;
  const auto source = integerAt(command, 2).value_or(Source::camera);
  options->sourceType = source;
  options->targetSize = sizeAt(command, 3);
  const auto encoding = integerAt(command, 5);
  options->encodingType =
      encoding ? encodingTypeFromRawValue(*encoding) : EncodingType::encodingTypeJPEG;
  const auto media = integerAt(command, 6);
  options->mediaType = media ? mediaTypeFromRawValue(*media) : MediaType::mediaTypePicture;
  options->allowsEditing = booleanAt(command, 7);
  options->correctOrientation = booleanAt(command, 8);
  options->saveToPhotoAlbum = booleanAt(command, 9);
  // Position 10 is never read. Position 11 means "use the front camera".
  options->cameraDirection = booleanAt(command, 11) ? Camera::front : Camera::rear;
  options->usesGeolocation = booleanAt(command, 12);
  latestUsesGeolocation = options->usesGeolocation;

  // Settled: a page that asks for videos from the photo library gets the camera.
  if (source == Source::photoLibrary && options->mediaType == MediaType::mediaTypeVideo)
    options->sourceType = Source::camera;
  return options;
}

bool processWideUsesGeolocation() {
  return latestUsesGeolocation;
}

}  // namespace vecamera
