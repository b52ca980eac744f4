#include "device/imaging/pipeline/Placement.h"

#include <algorithm>
#include <cmath>

namespace vecamera::device::imaging {
namespace {

/// Differences in place below this, in pixels, cannot be seen.
constexpr double tolerance = 1e-3;

double snapped(double at) {
  const double whole = std::round(at);
  return std::abs(at - whole) < tolerance ? whole : at;
}

/// The pixels of the canvas that the extent touches.
PixelRange touched(const Extent& extent, std::size_t length) {
  const double first = std::floor(std::max(extent.low, 0.0));
  const double last = std::ceil(std::min(extent.high, static_cast<double>(length)));
  if (!(last > first)) return {};
  return {static_cast<std::size_t>(first), static_cast<std::size_t>(last - first)};
}

void place(Placement& layout, std::size_t canvasWidth, std::size_t canvasHeight) {
  const auto left = static_cast<double>(layout.usable.columns.first);
  const auto right = static_cast<double>(layout.usable.columns.end());
  const auto top = static_cast<double>(layout.usable.rows.first);
  const auto bottom = static_cast<double>(layout.usable.rows.end());
  layout.x = {INFINITY, -INFINITY};
  layout.y = {INFINITY, -INFINITY};
  for (const Point corner :
       {Point{left, top}, Point{right, top}, Point{left, bottom}, Point{right, bottom}}) {
    const Point on = layout.map.apply(corner);
    layout.x = {std::min(layout.x.low, on.x), std::max(layout.x.high, on.x)};
    layout.y = {std::min(layout.y.low, on.y), std::max(layout.y.high, on.y)};
  }
  layout.x = {snapped(layout.x.low), snapped(layout.x.high)};
  layout.y = {snapped(layout.y.low), snapped(layout.y.high)};
  layout.columns = touched(layout.x, canvasWidth);
  layout.rows = touched(layout.y, canvasHeight);
}

std::optional<Turn> turnIn(const AffineMap& map, const Source& source) {
  const auto w = static_cast<double>(source.width());
  const auto h = static_cast<double>(source.height());
  // What the off-axis terms move across the whole picture.
  if (std::abs(map.b) * w < tolerance && std::abs(map.c) * h < tolerance)
    return Turn{false, map.a < 0, map.d < 0};
  if (std::abs(map.a) * w < tolerance && std::abs(map.d) * h < tolerance)
    return Turn{true, map.c < 0, map.b < 0};
  return std::nullopt;
}

bool covers(const Extent& extent, std::size_t length) {
  return extent.low <= 0 && extent.high >= static_cast<double>(length);
}

bool isWhole(double at) {
  return std::abs(at - std::round(at)) < tolerance;
}

/// True where every pixel of the canvas is one pixel of the source.
bool onlyTurnsAndCuts(const Placement& layout, const DrawList& canvas) {
  if (!layout.turn || !covers(layout.x, canvas.width) || !covers(layout.y, canvas.height))
    return false;
  const AffineMap& map = layout.map;
  const auto longest =
      static_cast<double>(std::max(layout.source->width(), layout.source->height()));
  const auto keepsSize = [&](double stretch) {
    return std::abs(std::abs(stretch) - 1) * longest < tolerance;
  };
  return keepsSize(layout.turn->swapsAxes ? map.c : map.a) &&
         keepsSize(layout.turn->swapsAxes ? map.b : map.d) && isWhole(map.tx) && isWhole(map.ty);
}

/// The source pixels behind `length` pixels of a canvas axis from its pixel 0 on.
PixelRange behind(double stretch, double shift, std::size_t length) {
  const auto at = std::lround(stretch > 0 ? -shift : shift - static_cast<double>(length));
  return {static_cast<std::size_t>(at), length};
}

SourceRect usableBehind(const Placement& inner, const DrawList& canvas) {
  const AffineMap& map = inner.map;
  if (inner.turn->swapsAxes)
    return {behind(map.b, map.ty, canvas.height), behind(map.c, map.tx, canvas.width)};
  return {behind(map.a, map.tx, canvas.width), behind(map.d, map.ty, canvas.height)};
}

bool cuts(const Placement& inner, const DrawList& canvas) {
  const SourceRect usable = usableBehind(inner, canvas);
  return usable.columns.count != inner.source->width() ||
         usable.rows.count != inner.source->height();
}

}  // namespace

bool Placement::shows() const {
  return map.isFinite() && std::abs(map.determinant()) > 0 && columns.count > 0 && rows.count > 0;
}

Placement placementOf(const DrawCommand& drawing, std::size_t canvasWidth,
                      std::size_t canvasHeight) {
  Placement layout;
  layout.source = drawing.source;
  layout.map = drawing.map;
  layout.usable = {{0, drawing.source->width()}, {0, drawing.source->height()}};
  layout.turn = turnIn(layout.map, *layout.source);
  const DrawList* canvas = drawing.source->recording();
  if (canvas && canvas->drawings.size() == 1) {
    const Placement inner = placementOf(canvas->drawings.front(), canvas->width, canvas->height);
    // A free rotation blends over the edges of a picture, and so needs one that ends there.
    if (onlyTurnsAndCuts(inner, *canvas) && (layout.turn || !cuts(inner, *canvas))) {
      layout.source = inner.source;
      layout.map = compose(drawing.map, inner.map);
      layout.usable = usableBehind(inner, *canvas);
      layout.turn = turnIn(layout.map, *layout.source);
    }
  }
  place(layout, canvasWidth, canvasHeight);
  return layout;
}

PixelRange samplesOf(const PixelRange& pixels, double step, std::size_t length) {
  // Steps may be thirds, which no double is exactly.
  constexpr double rounding = 1e-6;
  const auto first = static_cast<std::size_t>(static_cast<double>(pixels.first) / step + rounding);
  const auto end =
      static_cast<std::size_t>(std::ceil(static_cast<double>(pixels.end()) / step - rounding));
  return {std::min(first, length - 1), std::min(end, length) - std::min(first, length - 1)};
}

std::vector<double> coverage(const Extent& extent, const PixelRange& range) {
  const auto first = static_cast<double>(range.first);
  const auto last = first + static_cast<double>(range.count);
  if (extent.low <= first && extent.high >= last) return {};
  std::vector<double> shares(range.count, 1.0);
  for (std::size_t i : {std::size_t{0}, range.count - 1}) {
    const double low = first + static_cast<double>(i);
    shares[i] = std::clamp(std::min(extent.high, low + 1) - std::max(extent.low, low), 0.0, 1.0);
  }
  return shares;
}

}  // namespace vecamera::device::imaging
