#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vecamera::device::script {

/// One use that the plug-in made of a service of the platform, with what is known of it.
struct TraceSpan {
  /// "decode", "draw" (rotating, scaling, cropping), "encodeJPEG", "encodePNG", "requestImageData",
  /// "writeFile", "removeFile", "performChanges", "export", "base64", "urlTransformer" or
  /// "localized". Pictures are lazy: a drawing is carried out where its pixels are first needed.
  std::string_view what;
  /// From the call to its result.
  double ms = 0;
  /// Of the file, the picture or the data.
  std::optional<std::uint64_t> bytes{};
  /// In points of the picture.
  std::optional<double> width{};
  std::optional<double> height{};
  std::optional<std::string> path{};
  /// Why there is no result.
  std::optional<std::string> error{};
};

/// Called where the service was used, or where it handed its result over.
using TraceSink = std::function<void(const TraceSpan&)>;

}  // namespace vecamera::device::script
