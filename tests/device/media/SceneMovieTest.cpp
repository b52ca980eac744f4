#include "device/media/SceneMovie.h"

#include <algorithm>
#include <cstdlib>

#include "device/media/MediaErrors.h"
#include "tests/device/media/Workshop.h"

namespace vecamera::device::media {
namespace {

using testing::Each;
using testing::Ge;

class SceneMovies : public Workshop {
 protected:
  std::filesystem::path generated(const char* name, const SceneMovie& scene) const {
    const auto error = generateSceneMovie(path(name), scene);
    EXPECT_EQ(error ? error->localizedDescription() : "", "");
    return path(name);
  }
};

TEST_F(SceneMovies, ACancelledSceneLeavesNoFile) {
  int asked = 0;
  const auto error =
      generateSceneMovie(path("a.mov"), {.seconds = 3600}, [&asked] { return ++asked == 3; });
  ASSERT_TRUE(error);
  EXPECT_TRUE(isMediaError(*error, AVError::operationCancelled));
  EXPECT_EQ(asked, 3);
  EXPECT_TRUE(std::filesystem::is_empty(path("a.mov").parent_path()));
}

TEST_F(SceneMovies, ASceneIsStoredAsPhonesDo) {
  const SceneMovie scene{.seconds = 1.5, .width = 320, .height = 240, .rotationDegrees = 90};
  for (const char* name : {"a.mov", "b.mp4"}) {
    const auto movie = generated(name, scene);
    const auto judgement = judged(movie);
    const auto& picture = judgement.picture;
    EXPECT_EQ(picture.at("codec_name"), "h264");
    EXPECT_EQ(picture.at("width") + "x" + picture.at("height"), "320x240");
    EXPECT_EQ(picture.at("rotation"), "-90") << "which the judge tells counterclockwise";
    EXPECT_EQ(picture.at("nb_read_frames"), "45");
    EXPECT_EQ(judgement.sound.at("codec_name"), "aac");
    EXPECT_NEAR(judgement.seconds, 1.5, 0.01);
    EXPECT_EQ(judgement.complaints, "");
    // The arrow stands in the lower left corner when upright.
    const auto corner =
        raw(movie, "-frames:v 1 -vf crop=2:2:34:284,scale=1:1 -f rawvideo -pix_fmt gray");
    EXPECT_THAT(corner, Each(Ge(180)));
  }
  EXPECT_TRUE(judged(generated("c.mov", {.hasSound = false})).sound.empty());
}

TEST_F(SceneMovies, TheSameArgumentsGiveTheSameBytes) {
  const SceneMovie scene{.width = 160, .height = 120, .seed = 7};
  const Data once = read(generated("a.mov", scene));
  EXPECT_EQ(read(generated("b.mov", scene)), once);
  SceneMovie other = scene;
  other.seed = 8;
  EXPECT_NE(read(generated("c.mov", other)), once);
}

TEST_F(SceneMovies, FlashAndBeepBeginEachSecond) {
  const auto movie =
      generated("a.mov", {.seconds = 2, .width = 160, .height = 120, .framesPerSecond = 20});
  const auto light = raw(movie, "-vf crop=8:8:76:8,scale=1:1:flags=area -f rawvideo -pix_fmt gray");
  const auto sound = raw(movie, "-ar 8000 -ac 1 -f s8");
  ASSERT_EQ(light.size(), 40);
  for (std::size_t picture = 0; picture < light.size(); ++picture) {
    const bool flashes = picture % 20 < 2;
    EXPECT_EQ(light[picture] > 220, flashes) << picture;
    // The loudest sample within the picture's time, but for its ends.
    int peak = 0;
    for (std::size_t i = picture * 400 + 100; i < picture * 400 + 300; ++i)
      peak = std::max(peak, std::abs(static_cast<std::int8_t>(sound.at(i))));
    EXPECT_EQ(peak > 30, flashes) << picture << ": " << peak;
    EXPECT_GT(peak, 5) << picture;
  }
}

TEST_F(SceneMovies, WhatCannotBePaintedIsAnErrorWithoutAFile) {
  for (const SceneMovie& scene :
       {SceneMovie{.seconds = 0}, SceneMovie{.width = 321}, SceneMovie{.height = 8192},
        SceneMovie{.framesPerSecond = 0}, SceneMovie{.rotationDegrees = 45}}) {
    EXPECT_TRUE(generateSceneMovie(path("a.mov"), scene).has_value());
  }
  EXPECT_TRUE(generateSceneMovie(path("none/a.mov"), {}).has_value());
  EXPECT_TRUE(names().empty());
}

}  // namespace
}  // namespace vecamera::device::media
