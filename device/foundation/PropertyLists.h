#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "VECamera/platform/Value.h"

namespace vecamera::device::foundation {

/// Whether the file begins as an XML or binary property list does.
bool isPropertyList(const Data& file);

/// The texts that stand in the dictionary at the top of the property list, by their keys; entries
/// of other kinds are left out. Nothing where the file is broken or the top is no dictionary, and
/// for a file built to exhaust its reader. Pure.
std::optional<std::map<std::string, std::string, std::less<>>> propertyListTexts(const Data& file);

}  // namespace vecamera::device::foundation
