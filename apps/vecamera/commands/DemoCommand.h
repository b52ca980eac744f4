#pragma once

#include <filesystem>
#include <optional>

#include "apps/vecamera/terminal/Terminal.h"

namespace vecamera::app {

/// Plays the first sample script on a generated photograph. The pictures stay in the folder
/// (nothing: a fresh temporary one); the events go to standard output, and the explanations to
/// standard error.
ExitStatus demo(const std::optional<std::filesystem::path>& folder);

}  // namespace vecamera::app
