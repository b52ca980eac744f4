#pragma once

#include <filesystem>
#include <string_view>

#include "device/script/json/ScriptError.h"
#include "device/script/script/Script.h"

namespace vecamera::device::script {

// Both read and check the whole, the files that it names included, before anything is played.
// Relative paths start from the folder; a data URL stands for a file of its own, which lives as
// long as the script. Errors do not name the file: whoever shows them knows it.

/// The script in the file, whose paths start from its folder.
Result<Script, ScriptError> readScript(const std::filesystem::path& path);
Result<Script, ScriptError> parseScript(std::string_view text, const std::filesystem::path& folder);

}  // namespace vecamera::device::script
