#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "VECamera/options/PictureOptions.h"
#include "VECamera/platform/Container.h"
#include "VECamera/platform/Value.h"

namespace vecamera {

/// What a result operation gives: the status (absent on success) and the payload of the answer.
struct ResultPair {
  std::optional<CommandStatus> status;
  std::optional<Dictionary> payload;
};

// Rules of the result steps that need no plug-in state. All are pure.

/// A result with its one value.
ResultPair success(Value callbackUri);
/// The result of a picture or movie that could not be written.
ResultPair writeFailure(std::string message);
/// The URL under the key of a picker's info; nothing for a value of another type.
std::optional<URL> urlIn(const Dictionary& info, std::string_view key);
/// The quality, from 0.0, that a JPEG is encoded at. May exceed 1.0; encoders clamp it.
double compressionQuality(const PictureOptions& options);
/// "png" or "jpg".
std::string_view temporaryFileExtension(const PictureOptions& options);

}  // namespace vecamera
