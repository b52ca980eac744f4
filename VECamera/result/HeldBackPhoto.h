#pragma once

#include <memory>
#include <optional>

#include "VECamera/platform/Platform.h"
#include "VECamera/result/ResultRules.h"
#include "VECamera/runtime/SharedSlot.h"

namespace vecamera {

struct ResultContext;

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

/// The result of the context's held-back photo, whose file it writes; nothing where options are
/// null or their destination gets no answer. On the caller's executor.
std::optional<ResultPair> heldBackResult(const ResultContext& context,
                                         const PictureOptions* options);
/// Saves the held-back photo, where there is one, to the photo album if the page asked for it.
void saveHeldBackPhoto(const ResultContext& context, const PictureOptions& options);

}  // namespace vecamera
