#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "VECamera/platform/Platform.h"
#include "VECamera/result/HeldBackPhoto.h"
#include "VECamera/result/ResultRules.h"

namespace vecamera {

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

// Both operations move to the background executor and stay there, also after what they await. At
// their end they start the album save, where the page asked for one, and do not wait for it.

/// The result of a picture from the picker, by the options' destination.
Task<ResultPair> resultForImage(ResultContext context, std::shared_ptr<PictureOptions> options,
                                Dictionary info);
/// The result of a movie from the picker, exported to MPEG-4, by the options' destination; a file
/// where options or destination are absent. Whatever fails, the page gets the same message, and the
/// platform's own sentence goes to the log.
Task<ResultPair> resultForVideo(ResultContext context, std::shared_ptr<PictureOptions> options,
                                Dictionary info);

/// The path of the plug-in's source file, as log lines carry it. Defined in that file.
extern const std::string_view pluginSourceFile;

}  // namespace vecamera
