#pragma once

#include <filesystem>
#include <optional>

#include "apps/vecamera/Terminal.h"

namespace vecamera::app {

/// Plays the first sample script on a generated photograph. The pictures stay in the folder
/// (nothing: a fresh temporary one); the events go to standard output, and the tale around them to
/// standard error.
ExitStatus demo(const std::optional<std::filesystem::path>& folder);

}  // namespace vecamera::app
