#include "VECamera/result/HeldBackPhoto.h"

#include "VECamera/result/ResultContext.h"

namespace vecamera {
namespace {

ResultPair fileResult(const ResultContext& context, const PictureOptions& options,
                      const std::shared_ptr<const Data>& data) {
  const Platform& platform = context.platform;
  const auto url =
      platform.urls.URLWithString(context.tempFilePath(temporaryFileExtension(options)));
  if (!url) return writeFailure("Invalid file path");
  if (data) {
    if (const auto error = platform.fileManager.writeAtomically(*data, *url))
      return writeFailure(error->localizedDescription());
  }
  return success(context.urlTransformer(*url));
}

}  // namespace

bool HeldBackPhoto::keep(const std::optional<Data>& bytes, const Dictionary& info) {
  data.store(bytes ? std::make_shared<const Data>(*bytes) : nullptr);
  const Value* captured = find(info, UIImagePickerControllerMediaMetadata);
  if (!captured || !captured->dictionary()) {
    metadata.store(nullptr);
    return false;
  }
  // Settled: of the capture's metadata only the EXIF part is carried over.
  Dictionary kept;
  const Value* exif = find(*captured->dictionary(), kCGImagePropertyExifDictionary);
  if (exif && exif->dictionary()) kept.emplace(kCGImagePropertyExifDictionary, *exif);
  metadata.store(std::make_shared<const Dictionary>(std::move(kept)));
  return true;
}

void HeldBackPhoto::mergeMetadata(ImageIO& imageIO, const std::shared_ptr<UIImage>& image) const {
  const auto bytes = data.load();
  const auto properties = metadata.load();
  if (!bytes || !properties || !image) return;
  const auto bitmap = image->cgImage();
  if (!bitmap) return;
  const auto source = imageIO.CGImageSourceCreateWithData(*bytes);
  const auto type = source ? source->type() : std::nullopt;
  if (!type) return;
  const auto destination = imageIO.CGImageDestinationCreateWithData(*bytes, *type, 1);
  if (!destination) return;
  destination->addImage(bitmap, *properties);
  // Settled: the merged buffer is dropped here; what is delivered are the bytes without it.
  destination->finalize();
}

std::optional<ResultPair> heldBackResult(const ResultContext& context,
                                         const PictureOptions* options) {
  const Platform& platform = context.platform;
  const auto data = context.heldBackPhoto.data.load();
  if (data && context.heldBackPhoto.metadata.load())
    context.heldBackPhoto.mergeMetadata(platform.imageIO, platform.images.imageWithData(*data));
  if (!options) return std::nullopt;
  if (options->destinationType == DestinationType::destinationTypeFileUri)
    return fileResult(context, *options, data);
  if (options->destinationType != DestinationType::destinationTypeDataUrl) return std::nullopt;
  if (!data) return ResultPair{std::nullopt, Dictionary()};
  // Settled: the Base64 text goes as bytes and without the prefix of a data URL.
  return success(Data::copyOf(platform.base64.base64EncodedString("", *data)));
}

void saveHeldBackPhoto(const ResultContext& context, const PictureOptions& options) {
  const Platform& platform = context.platform;
  const auto data = context.heldBackPhoto.data.load();
  if (!data || !options.saveToPhotoAlbum ||
      options.destinationType == DestinationType::destinationTypeDataUrl)
    return;
  const auto image = platform.images.imageWithData(*data);
  const auto png = image ? platform.images.UIImagePNGRepresentation(image) : std::nullopt;
  if (!png) return;
  platform.photoLibrary.performChanges(
      [png](PHAssetChanges& changes) {
        changes.creationRequestForAsset().addResource(PHAssetResourceType::photo, *png, {});
      },
      [&process = platform.process](bool success, const std::optional<NSError>& error) {
        if (success)
          process.print("save photoAlbum success");
        else if (error)
          process.print("error : " + error->localizedDescription());
      });
}

}  // namespace vecamera
