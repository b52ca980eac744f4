#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <variant>

#include "device/script/script/Script.h"

namespace vecamera::device::script {

/// Why a file is not taken as a script: one line that names the file, the place and the cure.
struct ScriptError {
  std::string message;
};

/// Reads and checks a script whole, the files that it names included, before anything is played.
/// Relative paths start from the script's folder; a data URL stands for a file of its own, which
/// lives as long as the script.
std::variant<Script, ScriptError> readScript(const std::filesystem::path& path);

/// Which files a script may name.
enum class FileScope {
  anywhere,
  /// Those in the script's folder, and below it.
  folder,
};

/// The same from a text. `name` stands for the file in messages.
std::variant<Script, ScriptError> parseScript(std::string_view text, std::string name,
                                              const std::filesystem::path& folder,
                                              FileScope scope = FileScope::anywhere);

}  // namespace vecamera::device::script
