#pragma once

#include <string>

#include "device/script/assembly/ScriptedDevice.h"

namespace vecamera::device::script {

/// Why the callback has no answer, in plain words, from how things stand now. `settingsOpened`: an
/// alert opened the settings since the callback was given.
std::string reasonForOpen(const container::Callback& callback, const ScriptedDevice& device,
                          bool settingsOpened);

}  // namespace vecamera::device::script
