#include "simulator/server/phone/SampleMedia.h"

#include <array>
#include <vector>

#include "device/camera/TestScene.h"
#include "device/foundation/files/ApplicationHome.h"
#include "device/foundation/files/WholeFiles.h"
#include "device/media/SceneMovie.h"
#include "device/script/assembly/Samples.h"
#include "simulator/server/base/DeviceNames.h"

namespace vecamera::simulator {
namespace {

constexpr std::size_t maxSampleBytes = 16U << 20U;
constexpr std::size_t movieNumber = 7;

struct Scene {
  std::size_t width;
  std::size_t height;
  UIImageOrientation stored;
};

/// Two and a half seconds of a landscape that passes by, with a tone.
ScriptResult<Data> makeMovie() {
  const auto home = foundation::ApplicationHome::makePrivate();
  if (!home) return failed(home.error().message);
  const auto file = home->path() + "/scene.mp4";
  const auto made = device::media::generateSceneMovie(
      file, {.seconds = 2.5, .width = 480, .height = 360, .framesPerSecond = 24, .seed = 3});
  if (!made) return failed(made.error().localizedDescription());
  auto movie = foundation::readFile(file, maxSampleBytes);
  if (!movie) return failed(movie.error().message);
  return *std::move(movie);
}

std::vector<Sample> makeSamples() {
  constexpr std::array<Scene, 5> scenes = {{{640, 480, UIImageOrientation::up},
                                            {640, 480, UIImageOrientation::right},
                                            {480, 480, UIImageOrientation::up},
                                            {640, 360, UIImageOrientation::down},
                                            {640, 426, UIImageOrientation::left}}};
  std::vector<Sample> samples;
  const auto add = [&samples](std::size_t number, const std::string& extension, Data contents) {
    const auto digit = std::to_string(number);
    samples.push_back({"5A3D1E00-0000-4000-8000-00000000000" + digit + "/L0/001",
                       "sample-" + digit + extension, std::move(contents)});
  };
  std::size_t number = 0;
  std::uint32_t seed = 1;
  for (const auto& scene : scenes)
    if (auto photo =
            device::camera::generateTestScene(scene.width, scene.height, scene.stored, ++seed, {}))
      add(++number, ".jpg", *std::move(photo));
  if (const auto movie = makeMovie()) add(movieNumber, ".mp4", *movie);
  if (const auto photo = foundation::readFile(device::script::samplesFolder() + "/first-photo.jpg",
                                              maxSampleBytes))
    add(++number, ".jpg", *photo);
  return samples;
}

}  // namespace

std::span<const Sample> sampleMedia() {
  static const auto samples = makeSamples();
  return samples;
}

}  // namespace vecamera::simulator
