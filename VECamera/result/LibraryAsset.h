#pragma once

#include <functional>
#include <string>

#include "VECamera/result/ResultContext.h"

namespace vecamera {

/// Adds the resource of a new library asset, in a change block; false where there is none to add.
using AddResource = std::function<bool(PHAssetCreationRequest&)>;

/// The result of a picture or movie that becomes a new library asset: its native URI. The extension
/// is in upper case. Continues on the background executor.
Task<ResultPair> newAssetResult(ResultContext context, AddResource addResource,
                                std::string extension);
/// Saves a copy to the photo album, logs how that ended, and calls `onEnd`, which may be empty. It
/// does not need the plug-in.
Task<void> saveToAlbum(Platform platform, AddResource addResource,
                       std::function<void()> onEnd = nullptr);

}  // namespace vecamera
