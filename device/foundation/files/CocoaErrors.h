#pragma once

#include <string_view>

#include "VECamera/platform/Foundation.h"

namespace vecamera::device::foundation {

/// The platform's errors of file operations, with its English descriptions, which name the last
/// component of the path and, where they name a folder, the one that holds it. `code` is an `errno`
/// value. Pure.
NSError removalError(std::string_view path, int code);
NSError writingError(std::string_view path, int code);
/// For a URL that names no file.
NSError unsupportedSchemeError();

}  // namespace vecamera::device::foundation
