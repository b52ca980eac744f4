#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "apps/vecamera/terminal/Terminal.h"

namespace vecamera::app {

struct ServeOptions {
  /// The developer's pages; nothing: the demo app.
  std::optional<std::filesystem::path> app;
  std::optional<std::filesystem::path> home;
  std::optional<std::filesystem::path> record;
  /// A device script whose `device` part the phones begin with.
  std::optional<std::filesystem::path> device;
  /// 0 takes a free one.
  std::uint16_t port = 0;
  bool opensBrowser = false;
};

/// Serves phones until the program is interrupted. The address goes to standard output as soon as
/// browsers can come.
ExitStatus serve(const ServeOptions& options);

}  // namespace vecamera::app
