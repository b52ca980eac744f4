#include "apps/vecamera/commands/Commands.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "apps/vecamera/commands/Files.h"
#include "device/camera/TestScene.h"
#include "device/imaging/base/Orientation.h"
#include "device/media/SceneMovie.h"

namespace vecamera::app {
namespace {

ExitStatus writeMovie(const SceneOptions& options) {
  const int rotations[] = {0, 0, 180, 0, 0, 90, 0, 270};
  device::media::SceneMovie scene;
  scene.seconds = *options.seconds;
  scene.rotationDegrees = rotations[options.orientation - 1];
  if (scene.rotationDegrees == 0 && options.orientation != 1)
    return refuse("--orientation: a movie is stored as 1, 3, 6 or 8");
  const auto side = [](double length) { return static_cast<int>(length); };
  scene.width = side(options.size.width);
  scene.height = side(options.size.height);
  if (scene.rotationDegrees % 180 != 0) std::swap(scene.width, scene.height);
  if (scene.width % 2 != 0 || scene.height % 2 != 0 || std::min(scene.width, scene.height) < 16 ||
      std::max(scene.width, scene.height) > 4096)
    return refuse("--size: the sides of a movie are even numbers from 16 to 4096");
  if (std::filesystem::is_regular_file(options.file)) std::filesystem::remove(options.file);
  if (const auto done = device::media::generateSceneMovie(options.file, scene); !done)
    return fail(options.file.string() + ": " + done.error().localizedDescription());
  return ExitStatus::success;
}

}  // namespace

ExitStatus writeScene(const SceneOptions& options) {
  constexpr double maxSide = 20000;
  auto [width, height] = options.size;
  if (width > maxSide || height > maxSide || std::floor(width) != width ||
      std::floor(height) != height)
    return refuse("--size: both sides are whole numbers up to 20000");
  if (options.seconds) return writeMovie(options);
  // Orientations past 4 are stored on their side.
  if (options.orientation > 4) std::swap(width, height);
  constexpr std::uint32_t seed = 1;
  const auto scene = device::camera::generateTestScene(
      static_cast<std::size_t>(width), static_cast<std::size_t>(height),
      device::imaging::orientationOfExif(options.orientation), seed, {});
  if (!scene) return fail("so large a picture cannot be made; ask for a smaller --size");
  if (const auto written = writeFile(options.file, *scene); !written)
    return fail(written.error() + "; check the folder and its permissions");
  return ExitStatus::success;
}

}  // namespace vecamera::app
