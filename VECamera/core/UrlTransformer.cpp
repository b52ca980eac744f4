#include "VECamera/core/VECameraPlugin.h"

namespace vecamera {

URL VECameraPlugin::urlTransformer(const URL& url) const {
  const std::string& text = url.absoluteString();
  const URL working = text.starts_with("file") ? url : platform_.urls.fileURLWithPath(text);
  const auto callback = currentCallBack_.load();
  const auto delegate = callback ? callback->commandDelegate() : nullptr;
  const URLTransformer transform = delegate ? delegate->urlTransformer() : nullptr;
  if (!transform) return url;
  // Settled: the file URL only shapes what the host's function gets; where that gives nothing, the
  // caller gets its own URL back.
  return transform(working).value_or(url);
}

}  // namespace vecamera
