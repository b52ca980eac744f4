#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VECamera/platform/Platform.h"
#include "VECamera/result/ResultRules.h"
#include "VECamera/runtime/SharedSlot.h"

namespace vecamera {

/// A photo whose answer waits for its location: the encoded bytes, and the metadata under
/// construction. Each field is replaced whole, so any executor may read it.
struct HeldBackPhoto {
  SharedSlot<const Data> data;
  SharedSlot<const Dictionary> metadata;

  /// Keeps the bytes and, of the capture's metadata in the picker's info, the EXIF part. False
  /// where the info has no such metadata; then no location is asked for.
  bool keep(const std::optional<Data>& bytes, const Dictionary& info);
  /// Merges the metadata into the bytes, with the image's bitmap, where all of them are there.
  void mergeMetadata(ImageIO& imageIO, const std::shared_ptr<UIImage>& image) const;
};

/// What the result operations need of the plug-in. It refers to the plug-in without owning it:
/// whoever calls an operation keeps the plug-in alive until the operation has ended.
struct ResultContext {
  const Platform& platform;
  HeldBackPhoto& heldBackPhoto;
  // The plug-in's operations of these names.
  std::function<URL(const URL&)> urlTransformer;
  std::function<std::string(std::string_view)> tempFilePath;
  std::function<std::shared_ptr<CLLocationManager>()> locationManager;
};

// The first two operations move to the background executor and stay there, also after what they
// await. At their end they start the album save, where the page asked for one, and do not wait for
// it.

/// The result of a picture from the picker, by the options' destination.
Task<ResultPair> resultForImage(ResultContext context, std::shared_ptr<PictureOptions> options,
                                Dictionary info);
/// The result of a movie from the picker, exported to MPEG-4, by the options' destination; a file
/// where options or destination are absent. Whatever fails, the page gets the same message, and the
/// platform's own sentence goes to the log.
Task<ResultPair> resultForVideo(ResultContext context, std::shared_ptr<PictureOptions> options,
                                Dictionary info);
/// The result of the held-back photo, whose file it writes; nothing where options are null or their
/// destination gets no answer. On the caller's executor.
std::optional<ResultPair> heldBackResult(const ResultContext& context,
                                         const PictureOptions* options);
/// Saves the held-back photo, where there is one, to the photo album if the page asked for it.
void saveHeldBackPhoto(const ResultContext& context, const PictureOptions& options);

/// The path of the plug-in's source file, as log lines carry it. Defined in that file.
extern const std::string_view pluginSourceFile;

}  // namespace vecamera
