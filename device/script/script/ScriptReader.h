#pragma once

#include <filesystem>
#include <string_view>

#include "device/script/json/StrictJson.h"
#include "device/script/script/Script.h"

namespace vecamera::device::script {

/// Which files a script may name.
enum class FileScope {
  anywhere,
  /// Those in the script's folder, and below it.
  folder,
};

// Each reads and checks the whole, the files that it names included, before anything is played.
// Relative paths start from the folder; a data URL stands for a file of its own, which lives as
// long as the script. Errors do not name the file: whoever shows them knows it.

/// The script in the file, whose paths start from its folder.
Result<Script, ScriptError> readScript(const std::filesystem::path& path);
Result<Script, ScriptError> parseScript(std::string_view text, const std::filesystem::path& folder,
                                        FileScope scope = FileScope::anywhere);
Result<Script, ScriptError> scriptFromJson(const Json& document,
                                           const std::filesystem::path& folder,
                                           FileScope scope = FileScope::anywhere);

/// One step, which may not hold a data URL. Places begin at the step.
Result<ScriptStep, ScriptError> stepFromJson(const Json& step, const std::filesystem::path& folder,
                                             FileScope scope);

}  // namespace vecamera::device::script
