#pragma once

#include <filesystem>
#include <span>

#include "device/script/script/Script.h"
#include "simulator/server/base/Result.h"

namespace vecamera::simulator {

/// An error where the step would have the module read a file that lies in none of the folders: the
/// info of a capture or pick may hold addresses of files. Any thread.
Result<> checkFiles(const script::Step& step, std::span<const std::filesystem::path> folders);

}  // namespace vecamera::simulator
