#include "VECamera/core/VECameraPlugin.h"
#include "VECamera/imaging/ScalingAndOrientation.h"
#include "VECamera/result/ResultRules.h"

namespace vecamera {
namespace {

std::shared_ptr<UIImage> imageIn(const Dictionary& info, std::string_view key) {
  const Value* value = find(info, key);
  return value ? value->object<UIImage>() : nullptr;
}

}  // namespace

std::shared_ptr<UIImage> VECameraPlugin::retrieveImage(const Dictionary& info,
                                                       const PictureOptions& options) {
  std::shared_ptr<UIImage> image;
  if (options.allowsEditing) image = imageIn(info, UIImagePickerControllerEditedImage);
  if (!image) image = imageIn(info, UIImagePickerControllerOriginalImage);
  // Settled: a correction that fails leaves no picture, while a scaling that fails is passed over.
  if (options.correctOrientation && image)
    image =
        imageCorrectedForCaptureOrientation(platform_.graphics, image, image->imageOrientation());
  if (!image || !hasUsableTargetSize(options)) return image;
  const auto scaled =
      options.cropToSize
          ? imageByScalingAndCroppingForSize(platform_.graphics, image, *options.targetSize)
          : imageByScalingNotCroppingForSize(platform_.graphics, image, *options.targetSize);
  return scaled ? scaled : image;
}

std::optional<Data> VECameraPlugin::processImage(const std::shared_ptr<UIImage>& image,
                                                 const Dictionary& info,
                                                 const PictureOptions& options) {
  if (!options.encodingType) return std::nullopt;
  if (*options.encodingType == EncodingType::encodingTypePNG)
    return image ? platform_.images.UIImagePNGRepresentation(image) : std::nullopt;
  const auto bytes =
      image ? platform_.images.UIImageJPEGRepresentation(image, compressionQuality(options))
            : std::nullopt;
  if (options.usesGeolocation) keepForLocation(bytes, info);
  return bytes;
}

void VECameraPlugin::keepForLocation(const std::optional<Data>& bytes, const Dictionary& info) {
  data_.store(bytes ? std::make_shared<const Data>(*bytes) : nullptr);
  const Value* captured = find(info, UIImagePickerControllerMediaMetadata);
  if (!captured || !captured->dictionary()) {
    metadata_.store(nullptr);
    return;
  }
  // Settled: of the capture's metadata only the EXIF part is carried over.
  Dictionary kept;
  const Value* exif = find(*captured->dictionary(), kCGImagePropertyExifDictionary);
  if (exif && exif->dictionary()) kept.emplace(kCGImagePropertyExifDictionary, *exif);
  metadata_.store(std::make_shared<const Dictionary>(std::move(kept)));
  if (const auto manager = locationManager())
    manager->performSelectorAfterZeroDelay("requestWhenInUseAuthorization");
  if (const auto manager = locationManager()) manager->startUpdatingLocation();
}

void VECameraPlugin::mergeMetadata(const std::shared_ptr<UIImage>& image) {
  const auto data = data_.load();
  const auto metadata = metadata_.load();
  if (!data || !metadata || !image) return;
  const auto bitmap = image->cgImage();
  if (!bitmap) return;
  const auto source = platform_.imageIO.CGImageSourceCreateWithData(*data);
  const auto type = source ? source->type() : std::nullopt;
  if (!type) return;
  const auto destination = platform_.imageIO.CGImageDestinationCreateWithData(*data, *type, 1);
  if (!destination) return;
  destination->addImage(bitmap, *metadata);
  // Settled: the merged buffer is dropped here; what is delivered are the bytes without it.
  destination->finalize();
}

}  // namespace vecamera
