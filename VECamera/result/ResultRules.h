#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "VECamera/core/ResultPair.h"
#include "VECamera/options/PictureOptions.h"

namespace vecamera {

// Rules of the result steps that need no plug-in state. All are pure.

/// Begins the name of every temporary file.
inline constexpr std::string_view photoPrefix = "velmora_photo_";
/// The date pattern of a temporary file's name. Settled: a twelve-hour clock without a marker.
inline constexpr std::string_view temporaryFileDateFormat = "yyyyMMddhhmmss";

/// What a movie's data URL begins with.
inline constexpr std::string_view movieDataUrlPrefix = "data:video/mp4;base64,";

/// A result with its one value.
ResultPair success(Value callbackUri);
/// The result of a picture or movie that could not be written.
ResultPair writeFailure(std::string message);
/// The URL under the key of a picker's info; nothing for a value of another type.
std::optional<URL> urlIn(const Dictionary& info, std::string_view key);
/// The quality, from 0.0, that a JPEG is encoded at. May exceed 1.0; encoders clamp it.
double compressionQuality(const PictureOptions& options);
/// Whether the picture is to be scaled: both sides of the target must be positive.
bool hasUsableTargetSize(const PictureOptions& options);
/// "data:image/png;base64," or "data:image/jpeg;base64,".
std::string_view dataUrlPrefix(const PictureOptions& options);
/// "png" or "jpg".
std::string_view temporaryFileExtension(const PictureOptions& options);
/// The extension in the address of a new library picture: "PNG" or "JPG".
std::string_view nativeUriExtension(const PictureOptions& options);
/// The address of a new library asset.
std::string nativeUri(std::string_view extension, std::string_view localIdentifier);

}  // namespace vecamera
