#include "device/media/SceneMovie.h"

#include <algorithm>
#include <cstdlib>

#include "device/media/base/MediaErrors.h"
#include "tests/device/media/MediaTest.h"

namespace vecamera::device::media {
namespace {

using testing::Each;
using testing::Ge;

class SceneMovieTest : public MediaTest {
 protected:
  std::filesystem::path generated(const char* name, const SceneMovie& scene) const {
    EXPECT_EQ(textOf(generateSceneMovie(path(name), scene)), "");
    return path(name);
  }
};

TEST_F(SceneMovieTest, ACancelledSceneLeavesNoFile) {
  int asked = 0;
  const auto done =
      generateSceneMovie(path("a.mov"), {.seconds = 3600}, [&asked] { return ++asked == 3; });
  ASSERT_FALSE(done);
  EXPECT_TRUE(isMediaError(done.error(), AVError::operationCancelled));
  EXPECT_EQ(asked, 3);
  EXPECT_TRUE(std::filesystem::is_empty(path("a.mov").parent_path()));
}

TEST_F(SceneMovieTest, ASceneIsStoredAsPhonesDo) {
  const SceneMovie scene{.seconds = 1.5, .width = 320, .height = 240, .rotationDegrees = 90};
  for (const char* name : {"a.mov", "b.mp4"}) {
    const auto movie = generated(name, scene);
    const auto probe = probed(movie);
    const auto& picture = probe.video;
    EXPECT_EQ(picture.at("codec_name"), "h264");
    EXPECT_EQ(picture.at("width") + "x" + picture.at("height"), "320x240");
    EXPECT_EQ(picture.at("rotation"), "-90") << "which ffprobe counts counterclockwise";
    EXPECT_EQ(picture.at("nb_read_frames"), "45");
    EXPECT_EQ(probe.audio.at("codec_name"), "aac");
    EXPECT_NEAR(probe.seconds, 1.5, 0.01);
    EXPECT_EQ(probe.errors, "");
    // The arrow stands in the lower left corner when upright.
    const auto corner =
        raw(movie, "-frames:v 1 -vf crop=2:2:34:284,scale=1:1 -f rawvideo -pix_fmt gray");
    EXPECT_THAT(corner, Each(Ge(180)));
  }
  EXPECT_TRUE(probed(generated("c.mov", {.hasAudio = false})).audio.empty());
}

TEST_F(SceneMovieTest, TheSameArgumentsGiveTheSameBytes) {
  const SceneMovie scene{.width = 160, .height = 120, .seed = 7};
  const Data once = read(generated("a.mov", scene));
  EXPECT_EQ(read(generated("b.mov", scene)), once);
  SceneMovie other = scene;
  other.seed = 8;
  EXPECT_NE(read(generated("c.mov", other)), once);
}

TEST_F(SceneMovieTest, FlashAndBeepBeginEachSecond) {
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

TEST_F(SceneMovieTest, WhatCannotBePaintedIsAnErrorWithoutAFile) {
  for (const SceneMovie& scene :
       {SceneMovie{.seconds = 0}, SceneMovie{.width = 321}, SceneMovie{.height = 8192},
        SceneMovie{.framesPerSecond = 0}, SceneMovie{.rotationDegrees = 45}}) {
    EXPECT_FALSE(generateSceneMovie(path("a.mov"), scene));
  }
  EXPECT_FALSE(generateSceneMovie(path("none/a.mov"), {}));
  EXPECT_TRUE(names().empty());
}

}  // namespace
}  // namespace vecamera::device::media
