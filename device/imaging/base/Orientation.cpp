#include "device/imaging/base/Orientation.h"

#include <algorithm>
#include <iterator>

namespace vecamera::device::imaging {
namespace {

/// In the order of the tag's values, from 1 on.
constexpr UIImageOrientation exifOrder[] = {UIImageOrientation::up,
                                            UIImageOrientation::upMirrored,
                                            UIImageOrientation::down,
                                            UIImageOrientation::downMirrored,
                                            UIImageOrientation::leftMirrored,
                                            UIImageOrientation::right,
                                            UIImageOrientation::rightMirrored,
                                            UIImageOrientation::left};

}  // namespace

Orientation orientationFor(UIImageOrientation orientation) {
  switch (orientation) {
    case UIImageOrientation::down: return {false, true, true};
    case UIImageOrientation::left: return {true, false, true};
    case UIImageOrientation::right: return {true, true, false};
    case UIImageOrientation::upMirrored: return {false, true, false};
    case UIImageOrientation::downMirrored: return {false, false, true};
    case UIImageOrientation::leftMirrored: return {true, false, false};
    case UIImageOrientation::rightMirrored: return {true, true, true};
    default: return {};
  }
}

Orientation inverse(const Orientation& orientation) {
  if (!orientation.swapsAxes) return orientation;
  return {true, orientation.mirrorsY, orientation.mirrorsX};
}

AffineMap affineMapOf(const Orientation& orientation, double storedWidth, double storedHeight) {
  const auto [width, height] = sidesOf(orientation, CGSize{storedWidth, storedHeight});
  const AffineMap swap = orientation.swapsAxes ? AffineMap{0, 1, 1, 0, 0, 0} : AffineMap{};
  const AffineMap mirror{orientation.mirrorsX ? -1.0 : 1.0,
                         0,
                         0,
                         orientation.mirrorsY ? -1.0 : 1.0,
                         orientation.mirrorsX ? width : 0.0,
                         orientation.mirrorsY ? height : 0.0};
  return compose(mirror, swap);
}

int exifOrientation(UIImageOrientation orientation) {
  const auto* const found = std::find(std::begin(exifOrder), std::end(exifOrder), orientation);
  return found == std::end(exifOrder) ? 1 : static_cast<int>(found - std::begin(exifOrder)) + 1;
}

int exifOrientation(const Orientation& orientation) {
  const auto* const found =
      std::find_if(std::begin(exifOrder), std::end(exifOrder),
                   [&](UIImageOrientation each) { return orientationFor(each) == orientation; });
  return static_cast<int>(found - std::begin(exifOrder)) + 1;
}

UIImageOrientation orientationOfExif(std::int64_t value) {
  if (value < 1 || value > std::ssize(exifOrder)) return UIImageOrientation::up;
  return exifOrder[value - 1];
}

void copyOriented(const std::uint32_t* rows, std::size_t storedWidth, std::size_t storedHeight,
                  std::size_t firstRow, std::size_t count, const Orientation& orientation,
                  Bitmap& oriented) {
  if (!orientation.swapsAxes) {
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t y = firstRow + i;
      const std::uint32_t* from = rows + i * storedWidth;
      std::uint32_t* to = oriented.row(orientation.mirrorsY ? storedHeight - 1 - y : y);
      if (orientation.mirrorsX)
        std::reverse_copy(from, from + storedWidth, to);
      else
        std::copy(from, from + storedWidth, to);
    }
    return;
  }
  // A stored row becomes a column, so that a band of rows becomes a short run in every row of the
  // result.
  const std::size_t firstColumn = orientation.mirrorsX ? storedHeight - firstRow - count : firstRow;
  for (std::size_t x = 0; x < storedWidth; ++x) {
    std::uint32_t* to = oriented.row(orientation.mirrorsY ? storedWidth - 1 - x : x) + firstColumn;
    if (orientation.mirrorsX) {
      for (std::size_t i = 0; i < count; ++i) to[count - 1 - i] = rows[i * storedWidth + x];
    } else {
      for (std::size_t i = 0; i < count; ++i) to[i] = rows[i * storedWidth + x];
    }
  }
}

ImageResult<Bitmap> oriented(Bitmap stored, const Orientation& orientation) {
  if (orientation == Orientation{}) return stored;
  constexpr std::size_t bandRows = 16;
  const auto [width, height] = sidesOf(orientation, PixelSize{stored.width(), stored.height()});
  auto result = Bitmap::uninitialized(width, height);
  if (!result) return result;
  for (std::size_t y = 0; y < stored.height(); y += bandRows)
    copyOriented(stored.row(y), stored.width(), stored.height(), y,
                 std::min(bandRows, stored.height() - y), orientation, *result);
  result->setKnownOpaque(stored.isKnownOpaque());
  result->setProfile(stored.profile());
  return result;
}

}  // namespace vecamera::device::imaging
