#include "device/media/Movies.h"

#include "tests/device/media/MediaTest.h"

namespace vecamera::device::media {
namespace {

class MoviesTest : public MediaTest {};

TEST_F(MoviesTest, AProbeGivesTypeSidesDurationAndAudio) {
  const std::string phone = pictures + tone + asPhones;
  const auto mp4 = make("a.mp4", phone);
  struct Case {
    std::filesystem::path file;
    std::string expected;
  };
  const Case cases[] = {
      {mp4, "mp4 public.mpeg-4 160x120 1.0 with sound"},
      {make("b.mov", "-i '" + mp4.string() + "' -c copy -an -metadata:s:v rotate=270"),
       "mov com.apple.quicktime-movie 120x160 1.0 without sound"},
      {make("c.mp4", pictures + "-vf setsar=3/2 -c:v mpeg4"),
       "mp4 public.mpeg-4 240x120 1.0 without sound"},
      {make("d.webm", pictures + tone + asVp8 + "-c:a libopus"),
       "webm org.webmproject.webm 160x120 1.0 with sound"},
      {make("e.webm", pictures + asVp8 + "-live 1"),
       "webm org.webmproject.webm 160x120 ? without sound"},
      {make("f.mkv", phone), "no movie"},
      {make("g.m4a", tone + "-c:a aac"), "no movie"},
      {make("h.jpg", pictures + "-frames:v 1"), "no movie"},
      {make("i.gif", pictures), "no movie"},
      {make("j.avif", pictures + "-frames:v 1 -c:v libaom-av1 -cpu-used 8"), "no movie"},
      {path("missing"), "no movie"},
  };
  const auto textOfFacts = [](const MediaResult<MovieFacts>& facts) -> std::string {
    if (!facts) return "no movie";
    const std::string seconds =
        facts->durationSeconds ? std::to_string(*facts->durationSeconds + 0.001).substr(0, 3) : "?";
    return std::string(facts->format.fileExtension) + " " +
           std::string(facts->format.typeIdentifier) + " " + std::to_string(facts->width) + "x" +
           std::to_string(facts->height) + " " + seconds +
           (facts->hasAudio ? " with sound" : " without sound");
  };
  for (const Case& each : cases) {
    EXPECT_EQ(textOfFacts(probeMovie(each.file)), each.expected) << each.file;
    EXPECT_EQ(textOfFacts(probeMovie(read(each.file))), each.expected) << each.file;
  }
}

TEST_F(MoviesTest, APosterIsSmallAndShowsMoreThanBlack) {
  const std::string starts = "-f lavfi -i color=black:s=160x120:r=10:d=0.4 ";
  const auto file = make("a.webm", starts +
                                       "-f lavfi -i color=red:s=160x120:r=10:d=0.2 "
                                       "-filter_complex '[0][1]concat,setsar=2' " +
                                       asVp8);
  const auto black = make("b.mp4", starts + "-c:v libx264");
  const auto shown = [this](const MediaResult<Data>& poster) {
    if (!poster) return std::string("nothing");
    write(path("poster.jpg"), textOf(*poster));
    const auto about = probed(path("poster.jpg")).video;
    const auto color = raw(path("poster.jpg"), "-vf scale=1:1 -f rawvideo -pix_fmt rgb24");
    return about.at("width") + "x" + about.at("height") + (color.at(0) > 200 ? " red" : " black");
  };
  EXPECT_EQ(shown(posterFrame(file, 100)), "100x38 red");
  EXPECT_EQ(shown(posterFrame(file, 1000)), "320x120 red");
  EXPECT_EQ(shown(posterFrame(file, 0)), "nothing");
  EXPECT_EQ(shown(posterFrame(black, 1000)), "160x120 black");
  EXPECT_EQ(shown(posterFrame(make("c.m4a", tone), 100)), "nothing");
}

}  // namespace
}  // namespace vecamera::device::media
