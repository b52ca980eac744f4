#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "device/script/script/Script.h"

namespace vecamera::simulator {

/// Why the step would have the module read a file that lies in none of the folders: the info of a
/// capture or pick may hold addresses of files. Nothing: it would not. Any thread.
std::optional<std::string> problemWithFiles(const device::script::Step& step,
                                            std::span<const std::filesystem::path> folders);

}  // namespace vecamera::simulator
