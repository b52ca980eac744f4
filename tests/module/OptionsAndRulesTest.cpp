#include <cmath>

#include "VECamera/imaging/ScalingAndOrientation.h"
#include "VECamera/result/ResultRules.h"
#include "tests/module/PluginTest.h"

namespace vecamera {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

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

TEST(PictureOptions, EachArgumentIsTakenOrFallsBack) {
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

TEST(PictureOptions, PositionsAreReadOnceAndTheHeightOnlyAfterAWidth) {
  const FakeCallBack none, sized({{width, 1}});
  PictureOptions::createFromTakePictureArguments(none);
  PictureOptions::createFromTakePictureArguments(sized);
  EXPECT_THAT(none.positionsRead(), ElementsAre(0, 1, 2, 3, 5, 6, 7, 8, 9, 11, 12));
  EXPECT_THAT(sized.positionsRead(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12));
}

TEST(PictureOptions, TheLatestGeolocationIsKeptForTheWholeProcess) {
  FakePlatform fake;
  const auto plugin = VECameraPlugin::create(fake.platform());
  for (const bool on : {true, false, true}) {
    PictureOptions::createFromTakePictureArguments(FakeCallBack({{geolocation, on}}));
    EXPECT_EQ(plugin->usesGeolocation(), on);
  }
  PictureOptions::createFromTakePictureArguments(FakeCallBack());
  EXPECT_FALSE(plugin->usesGeolocation());
}

TEST(ResultRules, QualityIsDividedAsAnIntegerUnlessThePictureIsUntouched) {
  const auto sized = [](double w, double h) { return std::optional(CGSize{w, h}); };
  const struct {
    std::int64_t quality;
    std::optional<std::int64_t> source;
    std::optional<CGSize> size;
    bool edited, corrected;
    double expected;
  } rows[] = {
      {50, 0, {}, false, false, 1},
      {50, 2, {}, false, false, 1},
      {50, {}, {}, false, false, 1},
      {50, 1, {}, false, false, 0},
      {99, 1, {}, false, false, 0},
      {100, 1, {}, false, false, 1},
      {250, 1, {}, false, false, 2},
      {150, 1, {}, false, false, 1},
      {-5, 1, {}, false, false, 0},
      {-250, 1, {}, false, false, -2},
      {50, 0, {}, true, false, 0},
      {50, 0, {}, false, true, 0},
      {100, 0, {}, true, true, 1},
      {50, 0, sized(0, 0), false, false, 1},
      {50, 0, sized(0, 200), false, false, 0},
      {50, 0, sized(200, -1), false, false, 0},
      {50, 0, sized(-1, -1), false, false, 1},
      {300, 0, sized(1, 1), false, false, 3},
  };
  for (const auto& row : rows) {
    PictureOptions options;
    options.quality = row.quality;
    options.sourceType = row.source;
    options.targetSize = row.size;
    options.allowsEditing = row.edited;
    options.correctOrientation = row.corrected;
    EXPECT_EQ(compressionQuality(options), row.expected)
        << row.quality << " of " << textOf(row.source);
  }
}

TEST(ScalingGeometry, ScalingFillsOrFitsWithoutRounding) {
  const double third = 100.0 / 3;
  const struct {
    CGSize source, target;
    CGRect filled;
    CGSize fitted;
  } rows[] = {
      {{4000, 3000}, {100, 100}, {-50.0 / 3, 0, 400.0 / 3, 100}, {100, 75}},
      {{3000, 4000}, {100, 100}, {0, -50.0 / 3, 100, 400.0 / 3}, {75, 100}},
      {{50, 40}, {100, 100}, {-12.5, 0, 125, 100}, {100, 80}},
      {{50, 50}, {100, 100}, {0, 0, 100, 100}, {100, 100}},
      {{100, 100}, {100, 100}, {0, 0, 100, 100}, {100, 100}},
      {{300, 100}, {100, 100}, {-100, 0, 300, 100}, {100, third}},
      {{3, 7}, {0.5, 0.25}, {0, (0.25 - 3.5 / 3) * 0.5, 0.5, 3.5 / 3}, {0.75 / 7, 0.25}},
  };
  for (const auto& row : rows) {
    const auto fill = geometryForScalingAndCropping(row.source, row.target);
    EXPECT_EQ(fill.canvas, row.target);
    EXPECT_DOUBLE_EQ(fill.drawRect.x, row.filled.x);
    EXPECT_DOUBLE_EQ(fill.drawRect.y, row.filled.y);
    EXPECT_DOUBLE_EQ(fill.drawRect.width, row.filled.width);
    EXPECT_DOUBLE_EQ(fill.drawRect.height, row.filled.height);
    const auto fit = geometryForScalingNotCropping(row.source, row.target);
    EXPECT_DOUBLE_EQ(fit.canvas.width, row.fitted.width);
    EXPECT_DOUBLE_EQ(fit.canvas.height, row.fitted.height);
    EXPECT_EQ(fit.drawRect, (CGRect{0, 0, fit.canvas.width, fit.canvas.height}));
    EXPECT_LE(fit.canvas.width, row.target.width);
    EXPECT_LE(fit.canvas.height, row.target.height);
  }
}

TEST(ScalingGeometry, ScalersDrawOnceAndCloseTheContextAlsoWithoutAResult) {
  FakeGraphics graphics;
  const auto image = std::make_shared<FakeImage>("a", CGSize{50, 40});
  const auto result = imageByScalingAndCroppingForSize(graphics, image, {100, 100});
  EXPECT_EQ(result->size(), (CGSize{100, 100}));
  EXPECT_NE(imageByScalingNotCroppingForSize(graphics, image, {50, 40}), image);
  graphics.yieldsImages = false;
  EXPECT_EQ(imageByScalingNotCroppingForSize(graphics, image, {100, 100}), nullptr);
  EXPECT_THAT(graphics.calls.all(),
              ElementsAre("begin 100,100", "draw -12.5,0 125,100", "take", "end",  //
                          "begin 50,40", "draw 0,0 50,40", "take", "end",          //
                          "begin 100,80", "draw 0,0 100,80", "take", "end"));
}

TEST(ScalingGeometry, OrientationIsCorrectedByOneTurnAndALateShift) {
  using Orientation = UIImageOrientation;
  const std::vector<std::string> plain{"rotate 0", "scale 1,-1", "bitmap -15,-20 30,40"};
  const std::vector<std::string> down{"rotate 3.14159", "scale 1,-1", "bitmap -15,-20 30,40"};
  const std::vector<std::string> left{"rotate -1.5708", "scale 1,-1", "bitmap -20,-15 40,30",
                                      "translate -20,-15"};
  const std::vector<std::string> right{"rotate 1.5708", "scale 1,-1", "bitmap -20,-15 40,30",
                                       "translate -20,-15"};
  const std::pair<Orientation, std::vector<std::string>> rows[] = {
      {Orientation::up, plain},
      {Orientation::down, down},
      {Orientation::left, left},
      {Orientation::right, right},
      {Orientation::upMirrored, plain},
      {Orientation::downMirrored, plain},
      {Orientation::leftMirrored, plain},
      {Orientation::rightMirrored, plain},
      {static_cast<Orientation>(9), plain}};
  for (const auto& [given, turn] : rows) {
    FakeGraphics graphics;
    const auto image = std::make_shared<FakeImage>("a", CGSize{30, 40}, given);
    const auto result = imageCorrectedForCaptureOrientation(graphics, image, given);
    EXPECT_EQ(result->size(), (CGSize{30, 40}));
    std::vector<std::string> calls{"begin 30,40", "translate 15,20"};
    calls.insert(calls.end(), turn.begin(), turn.end());
    calls.insert(calls.end(), {"take", "end"});
    EXPECT_THAT(graphics.calls.all(), ElementsAreArray(calls));
  }
}

TEST(ScalingGeometry, OrientationCorrectionWithoutBitmapOrContextDrawsNothing) {
  FakeGraphics graphics;
  const auto bare =
      std::make_shared<FakeImage>("a", CGSize{30, 40}, UIImageOrientation::right, false);
  EXPECT_EQ(imageCorrectedForCaptureOrientation(graphics, bare, bare->imageOrientation())->size(),
            (CGSize{30, 40}));
  graphics.hasContext = false;
  graphics.yieldsImages = false;
  const auto whole = std::make_shared<FakeImage>("a", CGSize{30, 40}, UIImageOrientation::left);
  EXPECT_EQ(imageCorrectedForCaptureOrientation(graphics, whole, whole->imageOrientation()),
            nullptr);
  EXPECT_THAT(graphics.calls.all(),
              ElementsAre("begin 30,40", "translate 15,20", "rotate 1.5708", "scale 1,-1",
                          "translate -20,-15", "take", "end", "begin 30,40", "take", "end"));
}

}  // namespace
}  // namespace vecamera
