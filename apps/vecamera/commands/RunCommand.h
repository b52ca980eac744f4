#pragma once

#include <chrono>
#include <string>

#include "apps/vecamera/terminal/Terminal.h"

namespace vecamera::app {

struct RunOptions {
  /// A file, or "-" for standard input.
  std::string script;
  std::chrono::milliseconds limit{30000};
};

/// Plays the script; its events go to standard output, each as soon as it happens.
ExitStatus run(const RunOptions& options);

}  // namespace vecamera::app
