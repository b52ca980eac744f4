#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <variant>

namespace vecamera::device::script {

/// Why a text is not taken as JSON.
struct JsonError {
  /// "line 3, column 5", both from 1, or the place within the document ("steps[3]"), which is empty
  /// at the top level.
  std::string place;
  /// One line.
  std::string why;
};

/// The JSON that the text holds. Stricter than the grammar: a key that stands twice in an object
/// and nesting past 64 levels are errors too. A byte order mark at the start is skipped.
std::variant<nlohmann::json, JsonError> parseStrictJson(std::string_view text);

/// The text in quotation marks with everything escaped that would break a line, shortened where it
/// is long. For messages.
std::string inQuotes(std::string_view text);

/// The place of a key or an element within another place: "steps[3].photo".
std::string placeOfKey(std::string_view place, std::string_view key);
std::string placeOfElement(std::string_view place, std::size_t index);

}  // namespace vecamera::device::script
