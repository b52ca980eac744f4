#pragma once

#include <array>
#include <string_view>

#include "VECamera/platform/AVFoundation.h"
#include "device/base/JoinNames.h"

namespace vecamera::device::media {

/// A format of the movies that the library and the pickers take.
struct MovieFormat {
  /// As people write it.
  std::string_view name;
  /// The platform's uniform type identifier.
  std::string_view typeIdentifier;
  /// Lower case, without a dot.
  std::string_view fileExtension;
  std::string_view mediaType;
};

inline constexpr MovieFormat mpeg4Format{"MP4", AVFileTypeMPEG4, "mp4", "video/mp4"};
inline constexpr MovieFormat quickTimeFormat{"QuickTime", "com.apple.quicktime-movie", "mov",
                                             "video/quicktime"};
inline constexpr MovieFormat webmFormat{"WebM", "org.webmproject.webm", "webm", "video/webm"};

inline constexpr std::array movieFormats{mpeg4Format, quickTimeFormat, webmFormat};

/// The names in the order of the table: "MP4, QuickTime or WebM".
inline std::string movieFormatNames(std::string_view lastSeparator = ", ") {
  return joinNames(movieFormats, &MovieFormat::name, lastSeparator);
}

}  // namespace vecamera::device::media
