#pragma once

#include <filesystem>
#include <string_view>

#include "device/script/json/ScriptError.h"
#include "device/script/script/Script.h"

namespace vecamera::device::script {

// They check the whole script, with the files that it names, before anything is played. Relative
// paths start from the folder. A data URL stands for a file of its own, which lives as long as the
// script. Errors do not name the script's file.

/// The script in the file, whose paths start from its folder.
ScriptResult<Script> readScript(const std::filesystem::path& path);
/// The script in standard input.
ScriptResult<Script> readScriptFromInput(const std::filesystem::path& folder);
ScriptResult<Script> parseScript(std::string_view text, const std::filesystem::path& folder);

}  // namespace vecamera::device::script
