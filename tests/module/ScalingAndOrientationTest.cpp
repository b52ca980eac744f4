#include "VECamera/imaging/ScalingAndOrientation.h"

#include "tests/module/FakePlatform.h"

namespace vecamera {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

TEST(ScalingGeometryTest, ScalingFillsOrFitsWithoutRounding) {
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

TEST(ScalingGeometryTest, ScalersDrawOnceAndCloseTheContextAlsoWithoutAResult) {
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

TEST(ScalingGeometryTest, OrientationIsCorrectedByOneRotationAndALateShift) {
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
  for (const auto& [given, rotation] : rows) {
    FakeGraphics graphics;
    const auto image = std::make_shared<FakeImage>("a", CGSize{30, 40}, given);
    const auto result = imageCorrectedForCaptureOrientation(graphics, image, given);
    EXPECT_EQ(result->size(), (CGSize{30, 40}));
    std::vector<std::string> calls{"begin 30,40", "translate 15,20"};
    calls.insert(calls.end(), rotation.begin(), rotation.end());
    calls.insert(calls.end(), {"take", "end"});
    EXPECT_THAT(graphics.calls.all(), ElementsAreArray(calls));
  }
}

TEST(ScalingGeometryTest, OrientationCorrectionWithoutBitmapOrContextDrawsNothing) {
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
