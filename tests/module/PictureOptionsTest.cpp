#include "VECamera/options/PictureOptions.h"

#include <cmath>

#include "tests/module/PluginTest.h"

namespace vecamera {
namespace {

using testing::ElementsAre;

template <class T>
std::string textOf(const std::optional<T>& value) {
  return value ? std::to_string(static_cast<std::int64_t>(*value)) : "-";
}

/// The fields in their order, as one line.
std::string textOf(const PictureOptions& o) {
  std::string flags;
  for (const bool flag :
       {o.allowsEditing, o.correctOrientation, o.saveToPhotoAlbum, o.usesGeolocation, o.cropToSize})
    flags += flag ? '1' : '0';
  const std::string size =
      o.targetSize ? describe(o.targetSize->width) + "x" + describe(o.targetSize->height) : "-";
  return "q" + std::to_string(o.quality) + " d" + textOf(o.destinationType) + " s" +
         textOf(o.sourceType) + " " + size + " e" + textOf(o.encodingType) + " m" +
         textOf(o.mediaType) + " c" + textOf(o.cameraDirection) + " " + flags;
}

TEST(PictureOptionsTest, EachArgumentIsTakenOrFallsBack) {
  const double nan = std::nan(""), infinity = HUGE_VAL, twoTo63 = std::ldexp(1.0, 63);
  const std::int64_t twoTo32 = std::int64_t{1} << 32;
  const struct {
    FakeCallBack::Arguments arguments;
    std::string parsed;
  } rows[] = {
      {{}, "q50 d2 s1 - e0 m0 c0 00000"},
      {{{quality, 150}, {destination, 0}, {source, 2}}, "q150 d0 s2 - e0 m0 c0 00000"},
      {{{quality, -5}, {destination, 1}, {source, -3}}, "q-5 d1 s-3 - e0 m0 c0 00000"},
      {{{quality, 75.0}, {destination, 7}, {source, 99}}, "q75 d- s99 - e0 m0 c0 00000"},
      {{{quality, 3.5}, {destination, -1}, {source, "0"}}, "q50 d- s1 - e0 m0 c0 00000"},
      {{{quality, "9"}, {destination, "0"}, {source, {}}}, "q50 d2 s1 - e0 m0 c0 00000"},
      {{{width, 100}, {height, 50.5}}, "q50 d2 s1 100x50.5 e0 m0 c0 00000"},
      {{{width, 0}, {height, -1}}, "q50 d2 s1 0x-1 e0 m0 c0 00000"},
      {{{width, 100}}, "q50 d2 s1 - e0 m0 c0 00000"},
      {{{height, 100}}, "q50 d2 s1 - e0 m0 c0 00000"},
      {{{width, nan}, {height, 100}}, "q50 d2 s1 - e0 m0 c0 00000"},
      {{{encoding, 1}, {media, 2}}, "q50 d2 s1 - e1 m2 c0 00000"},
      {{{encoding, 2}, {media, 3}}, "q50 d2 s1 - e- m- c0 00000"},
      {{{encoding, -1}, {media, -1}}, "q50 d2 s1 - e- m- c0 00000"},
      {{{encoding, "1"}, {media, "1"}}, "q50 d2 s1 - e0 m0 c0 00000"},
      {{{editing, true}, {album, 1}, {10, true}, {front, true}}, "q50 d2 s1 - e0 m0 c1 10100"},
      {{{orientation, 1.0}, {geolocation, true}, {front, 1}}, "q50 d2 s1 - e0 m0 c1 01010"},
      {{{editing, 2}, {orientation, "true"}, {front, 0}}, "q50 d2 s1 - e0 m0 c0 00000"},
      {{{destination, true}, {source, false}, {encoding, true}}, "q50 d1 s0 - e1 m0 c0 00000"},
      {{{quality, true}, {width, true}, {height, 0}}, "q1 d2 s1 1x0 e0 m0 c0 00000"},
      {{{destination, 256}, {encoding, 256}, {media, 258}}, "q50 d- s1 - e- m- c0 00000"},
      {{{destination, twoTo32}, {source, twoTo32}, {encoding, twoTo32}, {media, twoTo32}},
       "q50 d- s4294967296 - e- m- c0 00000"},
      {{{quality, -twoTo63}, {source, twoTo63}}, "q-9223372036854775808 d2 s1 - e0 m0 c0 00000"},
      {{{quality, infinity}, {destination, -infinity}}, "q50 d2 s1 - e0 m0 c0 00000"},
      {{{width, infinity}, {height, 1}}, "q50 d2 s1 - e0 m0 c0 00000"},
      {{{source, 0}, {media, 1}}, "q50 d2 s1 - e0 m1 c0 00000"},
      {{{source, 2}, {media, 1}}, "q50 d2 s2 - e0 m1 c0 00000"},
      {{{source, 0}, {media, 2}}, "q50 d2 s0 - e0 m2 c0 00000"},
      {{{source, 0}, {media, 9}}, "q50 d2 s0 - e0 m- c0 00000"},
  };
  for (const auto& row : rows) {
    const FakeCallBack callback(row.arguments);
    EXPECT_EQ(textOf(*PictureOptions::createFromTakePictureArguments(callback)), row.parsed);
    EXPECT_TRUE(callback.answers().empty());
  }
}

TEST(PictureOptionsTest, PositionsAreReadOnceAndTheHeightOnlyAfterAWidth) {
  const FakeCallBack none, sized({{width, 1}});
  PictureOptions::createFromTakePictureArguments(none);
  PictureOptions::createFromTakePictureArguments(sized);
  EXPECT_THAT(none.positionsRead(), ElementsAre(0, 1, 2, 3, 5, 6, 7, 8, 9, 11, 12));
  EXPECT_THAT(sized.positionsRead(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12));
}

TEST(PictureOptionsTest, TheLatestGeolocationIsKeptForTheWholeProcess) {
  FakePlatform fake;
  const auto plugin = VECameraPlugin::create(fake.platform());
  for (const bool on : {true, false, true}) {
    PictureOptions::createFromTakePictureArguments(FakeCallBack({{geolocation, on}}));
    EXPECT_EQ(plugin->usesGeolocation(), on);
  }
  EXPECT_FALSE(PictureOptions::fromArguments(FakeCallBack().command()).usesGeolocation);
  EXPECT_TRUE(plugin->usesGeolocation()) << "reading alone keeps nothing";
  PictureOptions::createFromTakePictureArguments(FakeCallBack());
  EXPECT_FALSE(plugin->usesGeolocation());
}

}  // namespace
}  // namespace vecamera
