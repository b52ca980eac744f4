#pragma once

#include <string>
#include <string_view>

#include "VECamera/options/PictureOptions.h"
#include "VECamera/platform/VideoResult.h"

namespace vecamera {

// Rules of the result steps that need no plug-in state. All are pure.

/// Begins the name of every temporary file.
inline constexpr std::string_view photoPrefix = "velmora_photo_";
/// The date pattern of a temporary file's name. Settled: a twelve-hour clock without a marker.
inline constexpr std::string_view temporaryFileDateFormat = "yyyyMMddhhmmss";

/// The result of a picture that could not be written.
ResultPair writeFailure(std::string message);
/// The quality, from 0.0, that a JPEG is encoded at. May exceed 1.0; encoders clamp it.
double compressionQuality(const PictureOptions& options);
/// Whether the picture is to be scaled: both sides of the target must be positive.
bool hasUsableTargetSize(const PictureOptions& options);
/// "data:image/png;base64," or "data:image/jpeg;base64,".
std::string_view dataUrlPrefix(const PictureOptions& options);
/// "png" or "jpg".
std::string_view temporaryFileExtension(const PictureOptions& options);
/// The address of a new library asset.
std::string nativeUri(const PictureOptions& options, std::string_view localIdentifier);

}  // namespace vecamera
