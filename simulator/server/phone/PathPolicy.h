#pragma once

#include <filesystem>
#include <span>

#include "device/script/script/Script.h"
#include "simulator/server/base/DeviceNames.h"

namespace vecamera::simulator {

/// An error where the info of a capture or pick names a file outside of the folders: the module
/// would read it. Any thread.
ScriptResult<> checkFiles(const script::Step& step, std::span<const std::filesystem::path> folders);

}  // namespace vecamera::simulator
