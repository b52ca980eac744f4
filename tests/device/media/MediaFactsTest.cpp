#include "device/media/MediaFacts.h"

#include "tests/device/media/MediaTest.h"

namespace vecamera::device::media {
namespace {

class MediaFactsTest : public MediaTest {
 protected:
  /// "photo jpeg 160x120 ORIENTATION", with the seconds of a movie.
  static std::string textOf(const MediaResult<MediaFacts>& facts) {
    if (!facts) return "nothing";
    const bool isMovie = facts->kind == MediaFacts::Kind::movie;
    return std::string(isMovie ? "movie " : "photo ") + facts->format + " " +
           std::to_string(facts->width) + "x" + std::to_string(facts->height) + " " +
           std::to_string(facts->orientation) +
           (facts->durationSeconds ? " " + std::to_string(*facts->durationSeconds).substr(0, 3)
                                   : "");
  }
};

TEST_F(MediaFactsTest, DescribesPicturesAndMovies) {
  const auto mp4 = make("a.mp4", pictures + asPhones);
  // By `ffmpeg`, degrees count against the clock: what it shows itself undoes them so.
  const auto turned = [&](std::string_view name, std::string_view degrees) {
    return make(name,
                "-i '" + mp4.string() + "' -c copy -metadata:s:v rotate=" + std::string(degrees));
  };
  write(path("text.txt"), "no picture");
  write(path("cut.jpg"),
        media::textOf(read(make("e.jpg", pictures + "-frames:v 1"))).substr(0, 3000));
  const std::pair<std::filesystem::path, std::string> cases[] = {
      {path("e.jpg"), "photo jpeg 160x120 1"},
      {make("f.png", pictures + "-frames:v 1"), "photo png 160x120 1"},
      {VECAMERA_SOURCE_DIR "/tests/scenarios/pictures/rotated.jpg", "photo jpeg 60x40 6"},
      {mp4, "movie mp4 160x120 1 1.0"},
      {turned("b.mov", "270"), "movie mov 160x120 6 1.0"},
      {turned("c.mp4", "180"), "movie mp4 160x120 3 1.0"},
      {turned("d.mp4", "90"), "movie mp4 160x120 8 1.0"},
      {make("g.webm", pictures + asVp8 + "-live 1"), "movie webm 160x120 1"},
      {path("text.txt"), "nothing"},
      {path("cut.jpg"), "nothing"},
      {path("missing.jpg"), "nothing"},
      {path("."), "nothing"},
  };
  for (const auto& [file, expected] : cases) {
    EXPECT_EQ(textOf(mediaFacts(file)), expected) << file;
    if (!std::filesystem::is_regular_file(file)) continue;
    EXPECT_EQ(textOf(mediaFacts(read(file))), expected) << file;
  }
}

TEST_F(MediaFactsTest, DigestsTheBytes) {
  const auto file = make("a.mp4", pictures + asPhones);
  const auto ofFile = mediaFacts(file);
  const auto ofBytes = mediaFacts(read(file));
  ASSERT_TRUE(ofFile && ofBytes);
  EXPECT_EQ(ofFile->sha256, ofBytes->sha256);
  EXPECT_EQ(ofFile->byteCount, std::filesystem::file_size(file));
  EXPECT_EQ(ofBytes->byteCount, ofFile->byteCount);
  EXPECT_EQ(ofFile->perceptualHash, ofBytes->perceptualHash);
  // By sha256sum.
  const auto sample = mediaFacts(VECAMERA_SOURCE_DIR "/tests/scenarios/pictures/upright.jpg");
  ASSERT_TRUE(sample);
  EXPECT_EQ(sample->sha256, "a424e21bf55b716778b4e5835a142fa1f80a8cd33d08607b9c8cd6fcdaea5f4d");
}

// A movie that is shown turned looks like one whose frames are turned.
TEST_F(MediaFactsTest, HashesAMovieAsItIsShown) {
  const auto upright = make("a.mp4", pictures + asPhones);
  const auto turned = make("b.mp4", pictures + "-vf transpose=2" + asPhones);
  const auto shown = make("c.mp4", "-i '" + turned.string() + "' -c copy -metadata:s:v rotate=270");
  const auto distance = [](const auto& a, const auto& b) {
    return imaging::distanceBetween(mediaFacts(a)->perceptualHash, mediaFacts(b)->perceptualHash);
  };
  EXPECT_LE(distance(upright, shown), 6);
  EXPECT_GE(distance(upright, turned), 16);
}

}  // namespace
}  // namespace vecamera::device::media
