#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "VECamera/platform/Value.h"

namespace vecamera::device::foundation {

/// The texts of a strings table by their keys, in UTF-8.
using StringsTable = std::map<std::string, std::string, std::less<>>;

/// Reads a strings table: the old text form ("key" = "value"; with comments, in UTF-8 or, with a
/// byte order mark, UTF-16), or an XML or binary property list whose top is a dictionary. Of equal
/// keys, the last one counts; values that are no texts (dictionaries, arrays, data) are left out.
/// Nothing for an empty file and where the file is broken anywhere. Pure.
std::optional<StringsTable> parseStringsTable(const Data& file);

}  // namespace vecamera::device::foundation
