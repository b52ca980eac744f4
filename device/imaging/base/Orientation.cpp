#include "device/imaging/base/Orientation.h"

#include <algorithm>

namespace vecamera::device::imaging {

Turn turnFor(UIImageOrientation orientation) {
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

Turn inverse(const Turn& turn) {
  if (!turn.swapsAxes) return turn;
  return {true, turn.mirrorsY, turn.mirrorsX};
}

AffineMap mapOf(const Turn& turn, double storedWidth, double storedHeight) {
  const double width = turn.swapsAxes ? storedHeight : storedWidth;
  const double height = turn.swapsAxes ? storedWidth : storedHeight;
  const AffineMap swap = turn.swapsAxes ? AffineMap{0, 1, 1, 0, 0, 0} : AffineMap{};
  const AffineMap mirror{
      turn.mirrorsX ? -1.0 : 1.0,  0, 0, turn.mirrorsY ? -1.0 : 1.0, turn.mirrorsX ? width : 0.0,
      turn.mirrorsY ? height : 0.0};
  return compose(mirror, swap);
}

int exifOrientation(UIImageOrientation orientation) {
  switch (orientation) {
    case UIImageOrientation::upMirrored: return 2;
    case UIImageOrientation::down: return 3;
    case UIImageOrientation::downMirrored: return 4;
    case UIImageOrientation::leftMirrored: return 5;
    case UIImageOrientation::right: return 6;
    case UIImageOrientation::rightMirrored: return 7;
    case UIImageOrientation::left: return 8;
    default: return 1;
  }
}

UIImageOrientation orientationOfExif(std::int64_t value) {
  switch (value) {
    case 2: return UIImageOrientation::upMirrored;
    case 3: return UIImageOrientation::down;
    case 4: return UIImageOrientation::downMirrored;
    case 5: return UIImageOrientation::leftMirrored;
    case 6: return UIImageOrientation::right;
    case 7: return UIImageOrientation::rightMirrored;
    case 8: return UIImageOrientation::left;
    default: return UIImageOrientation::up;
  }
}

void placeTurned(const std::uint32_t* rows, std::size_t storedWidth, std::size_t storedHeight,
                 std::size_t firstRow, std::size_t count, const Turn& turn, Bitmap& turned) {
  if (!turn.swapsAxes) {
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t y = firstRow + i;
      const std::uint32_t* from = rows + i * storedWidth;
      std::uint32_t* to = turned.row(turn.mirrorsY ? storedHeight - 1 - y : y);
      if (turn.mirrorsX)
        std::reverse_copy(from, from + storedWidth, to);
      else
        std::copy(from, from + storedWidth, to);
    }
    return;
  }
  // A stored row becomes a column, so a strip of rows becomes a short run in every turned row.
  const std::size_t firstColumn = turn.mirrorsX ? storedHeight - firstRow - count : firstRow;
  for (std::size_t x = 0; x < storedWidth; ++x) {
    std::uint32_t* to = turned.row(turn.mirrorsY ? storedWidth - 1 - x : x) + firstColumn;
    if (turn.mirrorsX) {
      for (std::size_t i = 0; i < count; ++i) to[count - 1 - i] = rows[i * storedWidth + x];
    } else {
      for (std::size_t i = 0; i < count; ++i) to[i] = rows[i * storedWidth + x];
    }
  }
}

std::optional<Bitmap> turned(Bitmap stored, const Turn& turn) {
  if (turn == Turn{}) return stored;
  constexpr std::size_t stripRows = 16;
  auto result = Bitmap::uninitialized(turn.swapsAxes ? stored.height() : stored.width(),
                                      turn.swapsAxes ? stored.width() : stored.height());
  if (!result) return std::nullopt;
  for (std::size_t y = 0; y < stored.height(); y += stripRows)
    placeTurned(stored.row(y), stored.width(), stored.height(), y,
                std::min(stripRows, stored.height() - y), turn, *result);
  result->setKnownOpaque(stored.knownOpaque());
  result->setProfile(stored.profile());
  return result;
}

}  // namespace vecamera::device::imaging
