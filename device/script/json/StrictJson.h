#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "device/script/json/ScriptError.h"

namespace vecamera::device::script {

/// The JSON of scripts, events and messages. Written in the order in which it was built.
using Json = nlohmann::ordered_json;

/// How deep a document may be nested.
inline constexpr std::size_t maxJsonDepth = 64;

/// The JSON that the text holds, with the members of each object sorted by key: nothing that is
/// made of it depends on their order in the text. Stricter than the grammar: a repeated key in an
/// object and nesting beyond `maxDepth` levels are errors, too. A byte order mark at the start is
/// skipped.
ScriptResult<Json> parseStrictJson(std::string_view text, std::size_t maxDepth = maxJsonDepth);

/// One line of output, without its line end. Bytes that are not UTF-8 are replaced.
std::string toLine(const Json& json);

/// The text in quotation marks with everything escaped that would break a line, shortened where it
/// is long. For messages.
std::string inQuotes(std::string_view text);

/// The place of a key or an element within another place: "steps[3].photo".
std::string placeOfKey(std::string_view place, std::string_view key);
std::string placeOfElement(std::string_view place, std::size_t index);

}  // namespace vecamera::device::script
