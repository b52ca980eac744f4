#include "VECamera/imaging/ScalingAndOrientation.h"
#include "VECamera/result/LibraryAsset.h"

namespace vecamera {
namespace {

bool isPng(const PictureOptions& options) {
  return options.encodingType == EncodingType::encodingTypePNG;
}

std::shared_ptr<UIImage> imageIn(const Dictionary& info, std::string_view key) {
  const Value* value = find(info, key);
  return value ? value->object<UIImage>() : nullptr;
}

/// The picture of the picker's info, rotated and scaled as the options ask, or null.
std::shared_ptr<UIImage> retrieveImage(UIGraphics& graphics, const Dictionary& info,
                                       const PictureOptions& options) {
  std::shared_ptr<UIImage> image;
  if (options.allowsEditing) image = imageIn(info, UIImagePickerControllerEditedImage);
  if (!image) image = imageIn(info, UIImagePickerControllerOriginalImage);
  // Settled: a correction that fails leaves no picture, while a scaling that fails is passed over.
  if (options.correctOrientation && image)
    image = imageCorrectedForCaptureOrientation(graphics, image, image->imageOrientation());
  const auto size = options.targetSize.value_or(CGSize());
  if (!image || !(size.width > 0) || !(size.height > 0)) return image;
  const auto scaled = options.cropToSize ? imageByScalingAndCroppingForSize(graphics, image, size)
                                         : imageByScalingNotCroppingForSize(graphics, image, size);
  return scaled ? scaled : image;
}

/// The encoded picture, or nothing. With geolocation a JPEG is also held back, and its location
/// asked for.
std::optional<Data> processImage(const ResultContext& context,
                                 const std::shared_ptr<UIImage>& image, const Dictionary& info,
                                 const PictureOptions& options) {
  UIImages& images = context.platform.images;
  if (!options.encodingType) return std::nullopt;
  if (isPng(options)) return image ? images.UIImagePNGRepresentation(image) : std::nullopt;
  const auto bytes =
      image ? images.UIImageJPEGRepresentation(image, compressionQuality(options)) : std::nullopt;
  if (options.usesGeolocation && context.heldBackPhoto.keep(bytes, info)) {
    if (const auto manager = context.locationManager())
      manager->requestWhenInUseAuthorizationAfterZeroDelay();
    if (const auto manager = context.locationManager()) manager->startUpdatingLocation();
  }
  return bytes;
}

/// Adds the picture to a library asset; false where there is none.
AddResource addPicture(UIImages& images, std::shared_ptr<UIImage> image) {
  return [&images, image = std::move(image)](PHAssetCreationRequest& request) {
    // Settled: the library always gets PNG, whatever encoding the page asked for.
    const auto png = image ? images.UIImagePNGRepresentation(image) : std::nullopt;
    if (png) request.addResource(PHAssetResourceType::photo, *png, {});
    return png.has_value();
  };
}

ResultPair plainFileResult(const ResultContext& context, const Data& bytes,
                           const std::string& path) {
  if (!context.platform.fileManager.createFileAtPath(path, bytes))
    return writeFailure("Fail write image file");
  const auto url = context.platform.urls.URLWithString(path);
  if (!url) return writeFailure("Invalid image path");
  return success(context.urlTransformer(*url).absoluteString());
}

/// The asset behind the picker's reference URL, or the picked one; null where there is none.
std::shared_ptr<PHAsset> assetIn(const Dictionary& info, PHPhotoLibrary& library) {
  const Value* picked = find(info, UIImagePickerControllerPHAsset);
  auto asset = picked ? picked->object<PHAsset>() : nullptr;
  const auto reference = urlIn(info, UIImagePickerControllerReferenceURL);
  if (!asset || !reference) return asset;
  const auto fetched = library.fetchAssetsWithALAssetURLs({*reference}, {});
  return fetched.empty() ? asset : fetched.front();
}

/// The result of an encoded picture: a data URL or a file.
Task<ResultPair> bytesResult(ResultContext context, std::shared_ptr<PictureOptions> options,
                             Dictionary info, std::shared_ptr<UIImage> image, Data bytes) {
  using Source = UIImagePickerControllerSourceType;
  const Platform& platform = context.platform;
  if (options->destinationType == DestinationType::destinationTypeDataUrl)
    co_return success(platform.base64.base64EncodedString(
        isPng(*options) ? "data:image/png;base64," : "data:image/jpeg;base64,", bytes));
  const std::string path = context.tempFilePath(temporaryFileExtension(*options));
  if (!options->usesGeolocation) co_return plainFileResult(context, bytes, path);
  // A camera photo is delivered when its location has come.
  if (options->sourceType != Source::photoLibrary &&
      options->sourceType != Source::savedPhotosAlbum)
    co_return ResultPair{};

  const auto asset = assetIn(info, platform.photoLibrary);
  if (!asset) co_return ResultPair{};
  std::optional<PHImageData> original;
  std::string error;
  try {
    original = co_await requestImageDataAndOrientationAsync(
        platform.imageManager, platform.background, asset, PHImageRequestOptions{});
  } catch (const NSErrorException& thrown) {
    error = thrown.error().localizedDescription();
  }
  if (!original) co_return writeFailure(error);
  if (auto properties = platform.imageIO.CIImageProperties(original->data))
    context.heldBackPhoto.metadata.store(
        std::make_shared<const Dictionary>(*std::move(properties)));
  context.heldBackPhoto.mergeMetadata(platform.imageIO, image);

  const auto url = platform.urls.URLWithString(path);
  if (!url) co_return ResultPair{};
  if (const auto failure = platform.fileManager.writeAtomically(bytes, *url))
    co_return writeFailure(failure->localizedDescription());
  co_return success(context.urlTransformer(*url));
}

}  // namespace

Task<ResultPair> resultForImage(ResultContext context, std::shared_ptr<PictureOptions> options,
                                Dictionary info) {
  using enum DestinationType;
  const Platform& platform = context.platform;
  co_await resumeOn(platform.background);
  const auto destination = options->destinationType;
  const auto reference = destination == destinationTypeNativeUri
                             ? urlIn(info, UIImagePickerControllerReferenceURL)
                             : std::nullopt;
  // A picture with a reference URL lives in the library already.
  const bool savesToAlbum = options->saveToPhotoAlbum && !reference;
  std::shared_ptr<UIImage> image;
  if (destination && !reference) image = retrieveImage(platform.graphics, info, *options);

  ResultPair result;
  if (reference) {
    result = success(context.urlTransformer(*reference).absoluteString());
  } else if (destination == destinationTypeNativeUri) {
    result = co_await newAssetResult(context, addPicture(platform.images, image),
                                     isPng(*options) ? "PNG" : "JPG");
  } else if (destination) {
    if (const auto bytes = processImage(context, image, info, *options))
      result = co_await bytesResult(context, options, std::move(info), image, *bytes);
  }

  platform.log.debug(savesToAlbum ? "saveToPhotoAlbum true" : "saveToPhotoAlbum false");
  // Settled: a new library asset is saved a second time here.
  const auto png =
      savesToAlbum && image ? platform.images.UIImagePNGRepresentation(image) : std::nullopt;
  if (png) {
    const auto addPng = [png](PHAssetCreationRequest& request) {
      request.addResource(PHAssetResourceType::photo, *png, {});
      return true;
    };
    platform.tasks.start(platform.background, saveToAlbum(platform, addPng));
  }
  co_return result;
}

}  // namespace vecamera
