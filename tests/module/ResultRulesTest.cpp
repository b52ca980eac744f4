#include "VECamera/result/ResultRules.h"

#include <gtest/gtest.h>

namespace vecamera {
namespace {

TEST(ResultRulesTest, QualityIsDividedAsAnIntegerUnlessThePictureIsUntouched) {
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
        << row.quality << " of " << row.source.value_or(-1);
  }
}

}  // namespace
}  // namespace vecamera
