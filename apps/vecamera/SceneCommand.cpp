#include "apps/vecamera/SceneCommand.h"

#include <cmath>
#include <iostream>
#include <utility>

#include "apps/vecamera/Files.h"
#include "device/camera/TestScene.h"
#include "device/imaging/Turn.h"

namespace vecamera::app {

ExitStatus writeScene(const SceneOptions& options) {
  constexpr double longest = 20000;
  auto [width, height] = options.size;
  if (width > longest || height > longest || std::floor(width) != width ||
      std::floor(height) != height)
    return refuse("--size: both sides are whole numbers up to 20000");
  // Orientations past 4 are stored on their side.
  if (options.orientation > 4) std::swap(width, height);
  constexpr std::uint32_t seed = 1;
  const auto scene =
      device::generateTestScene(static_cast<std::size_t>(width), static_cast<std::size_t>(height),
                                device::orientationOfExif(options.orientation), seed, {});
  if (scene.empty()) return fail("so large a picture cannot be made; ask for a smaller --size");
  if (!writeFile(options.file, scene))
    return fail(options.file.string() +
                ": it cannot be written; check the folder and its permissions");
  return ExitStatus::success;
}

}  // namespace vecamera::app
