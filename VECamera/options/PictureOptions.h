#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "VECamera/platform/Container.h"
#include "VECamera/platform/CoreGraphics.h"

namespace vecamera {

/// The form of the returned picture.
enum class DestinationType {
  destinationTypeDataUrl = 0,
  destinationTypeFileUri = 1,
  destinationTypeNativeUri = 2,
};

enum class EncodingType { encodingTypeJPEG = 0, encodingTypePNG = 1 };

/// What may be picked.
enum class MediaType { mediaTypePicture = 0, mediaTypeVideo = 1, mediaTypeAll = 2 };

/// The positional arguments of `takePicture`.
struct TakePictureArguments {
  enum Position : std::size_t {
    quality,
    destination,
    source,
    width,
    height,
    encoding,
    media,
    editing,
    orientation,
    album,
    unread,
    /// True is the front camera.
    front,
    geolocation,
  };
  static constexpr std::size_t count = geolocation + 1;
};

/// Everything that a page asks of one `takePicture` command. Shared by the plug-in, the picker and
/// the result steps; written on the main queue before the picker is made, only read from then on.
struct PictureOptions {
  /// JPEG quality in percent, as the page gave it; not checked for range.
  std::int64_t quality = 0;
  std::optional<DestinationType> destinationType;
  /// A raw value of `UIImagePickerControllerSourceType`, not checked for range.
  std::optional<std::int64_t> sourceType;
  /// In points.
  std::optional<CGSize> targetSize;
  std::optional<EncodingType> encodingType;
  std::optional<MediaType> mediaType;
  /// A raw value of `UIImagePickerControllerCameraDevice`.
  std::optional<std::int64_t> cameraDirection;
  bool allowsEditing = false;
  bool correctOrientation = false;
  bool saveToPhotoAlbum = false;
  bool usesGeolocation = false;
  bool cropToSize = false;

  /// What the positional arguments of a `takePicture` mean. Never fails: what is missing or of
  /// another kind falls back to its default. Changes nothing; any thread.
  static PictureOptions fromArguments(const VelmoraCommand& command);
  /// `fromArguments` of the manager's command, on the main queue. Stores the parsed
  /// `usesGeolocation` process-wide.
  static std::shared_ptr<PictureOptions> createFromTakePictureArguments(
      const CallBackManager& callback);
};

/// The source that a request for this source and these media opens; `source` is a raw value.
/// Settled: a page that asks for videos from the photo library gets the camera.
std::int64_t sourceToOpen(std::int64_t source, std::optional<MediaType> media);

/// The `usesGeolocation` of the most recently parsed arguments in this process; false before the
/// first. Any thread.
bool processWideUsesGeolocation();

}  // namespace vecamera
