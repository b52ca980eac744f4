#pragma once

#include <string>
#include <string_view>

namespace vecamera::simulator {

/// The media type for a file's name, by its extension.
std::string_view contentTypeOf(std::string_view fileName);

/// The extension of a file's name, in lower case and without the dot; empty where there is none or
/// it is not of letters and digits.
std::string extensionOf(std::string_view fileName);

/// An extension for the media type; "bin" for one that is not known.
std::string extensionOfType(std::string_view mediaType);

}  // namespace vecamera::simulator
