#include "simulator/server/SampleMedia.h"

#include <array>
#include <cstdio>
#include <vector>

#include "device/camera/TestScene.h"
#include "device/foundation/PosixFiles.h"
#include "device/script/Samples.h"

namespace vecamera::simulator {
namespace {

struct Scene {
  std::size_t width;
  std::size_t height;
  UIImageOrientation stored;
};

std::string identifierOf(std::size_t number) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "5A3D1E00-0000-4000-8000-%012zu/L0/001", number);
  return text.data();
}

std::vector<Sample> makeSamples() {
  constexpr std::size_t longestPhoto = 16U << 20U;
  constexpr std::array<Scene, 5> scenes = {{{640, 480, UIImageOrientation::up},
                                            {640, 480, UIImageOrientation::right},
                                            {480, 480, UIImageOrientation::up},
                                            {640, 360, UIImageOrientation::down},
                                            {640, 426, UIImageOrientation::left}}};
  std::vector<Sample> samples;
  const auto add = [&samples](Data contents) {
    const auto number = samples.size() + 1;
    samples.push_back(
        {identifierOf(number), "sample-" + std::to_string(number) + ".jpg", std::move(contents)});
  };
  std::uint32_t seed = 1;
  for (const auto& scene : scenes)
    add(device::generateTestScene(scene.width, scene.height, scene.stored, ++seed, {}));
  if (const auto photo =
          device::readFile(device::samplesFolder() + "/first-photo.jpg", longestPhoto))
    add(*photo);
  return samples;
}

}  // namespace

std::span<const Sample> sampleMedia() {
  static const auto samples = makeSamples();
  return samples;
}

}  // namespace vecamera::simulator
