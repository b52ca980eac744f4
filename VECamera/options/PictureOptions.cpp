#include "VECamera/options/PictureOptions.h"

#include <atomic>

#include "VECamera/platform/UIKit.h"

namespace vecamera {
namespace {

using Position = TakePictureArguments::Position;

// Settled: the container asks for the value of the latest command of any plug-in object.
std::atomic<bool> latestUsesGeolocation{false};

/// The argument at the position as the given conversion reads it; nothing where it cannot.
template <class T>
std::optional<T> read(const VelmoraCommand& command, Position position,
                      std::optional<T> (Value::*as)() const) {
  const auto argument = command.argument(position);
  return argument ? ((*argument).*as)() : std::nullopt;
}

/// The case of the integer at the position: the default where none is given, and nothing where no
/// case up to the last one has it.
template <class Case>
std::optional<Case> caseAt(const VelmoraCommand& command, Position position, Case otherwise,
                           Case last) {
  const auto rawValue = read(command, position, &Value::integerValue);
  if (!rawValue) return otherwise;
  if (*rawValue < 0 || *rawValue > static_cast<std::int64_t>(last)) return std::nullopt;
  return static_cast<Case>(*rawValue);
}

}  // namespace

PictureOptions PictureOptions::fromArguments(const VelmoraCommand& command) {
  using Source = UIImagePickerControllerSourceType;
  using Camera = UIImagePickerControllerCameraDevice;
  PictureOptions options;

  const auto flagAt = [&](Position position) {
    return read(command, position, &Value::booleanValue).value_or(false);
  };

  options.quality = read(command, Position::quality, &Value::integerValue).value_or(50);
  options.destinationType =
      caseAt(command, Position::destination, DestinationType::destinationTypeNativeUri,
             DestinationType::destinationTypeNativeUri);
  const auto source =
      read(command, Position::source, &Value::integerValue).value_or(Source::camera);
  if (const auto width = read(command, Position::width, &Value::numberValue)) {
    if (const auto height = read(command, Position::height, &Value::numberValue))
      options.targetSize = CGSize{*width, *height};
  }
  options.encodingType = caseAt(command, Position::encoding, EncodingType::encodingTypeJPEG,
                                EncodingType::encodingTypePNG);
  options.mediaType =
      caseAt(command, Position::media, MediaType::mediaTypePicture, MediaType::mediaTypeAll);
  options.sourceType = sourceToOpen(source, options.mediaType);
  options.allowsEditing = flagAt(Position::editing);
  options.correctOrientation = flagAt(Position::orientation);
  options.saveToPhotoAlbum = flagAt(Position::album);
  options.cameraDirection = flagAt(Position::front) ? Camera::front : Camera::rear;
  options.usesGeolocation = flagAt(Position::geolocation);
  return options;
}

std::shared_ptr<PictureOptions> PictureOptions::createFromTakePictureArguments(
    const CallBackManager& callback) {
  auto options = std::make_shared<PictureOptions>(fromArguments(callback.command()));
  latestUsesGeolocation = options->usesGeolocation;
  return options;
}

std::int64_t sourceToOpen(std::int64_t source, std::optional<MediaType> media) {
  using Source = UIImagePickerControllerSourceType;
  const bool isLibraryVideo = source == Source::photoLibrary && media == MediaType::mediaTypeVideo;
  return isLibraryVideo ? Source::camera : source;
}

bool processWideUsesGeolocation() {
  return latestUsesGeolocation;
}

}  // namespace vecamera
