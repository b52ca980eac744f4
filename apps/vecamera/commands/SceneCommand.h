#pragma once

#include <filesystem>
#include <optional>

#include "VECamera/platform/CoreGraphics.h"
#include "apps/vecamera/terminal/Terminal.h"

namespace vecamera::app {

struct SceneOptions {
  std::filesystem::path file;
  /// In whole pixels, as seen.
  CGSize size{1600, 1200};
  /// An Exif orientation, 1 to 8.
  int orientation = 1;
  /// The movie's length; nothing: a photograph.
  std::optional<double> seconds;
};

/// Writes a generated photograph, or a movie where it has a length.
ExitStatus writeScene(const SceneOptions& options);

}  // namespace vecamera::app
