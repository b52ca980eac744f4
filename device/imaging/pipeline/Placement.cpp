#include "device/imaging/pipeline/Placement.h"

#include <algorithm>
#include <cmath>

namespace vecamera::device::imaging {
namespace {

/// The part of the stored pixels of which a picture is made.
struct CropRect {
  PixelRange columns;
  PixelRange rows;
  friend bool operator==(const CropRect&, const CropRect&) = default;
};

CropRect allOf(const LazyImage& image) {
  return {{0, image.width()}, {0, image.height()}};
}

double snapped(double at) {
  const double whole = std::round(at);
  return std::abs(at - whole) < placementTolerance ? whole : at;
}

/// The pixels of the canvas that the extent touches.
PixelRange touched(const Extent& extent, std::size_t length) {
  const double first = std::floor(std::max(extent.low, 0.0));
  const double last = std::ceil(std::min(extent.high, static_cast<double>(length)));
  if (!(last > first)) return {};
  return {static_cast<std::size_t>(first), static_cast<std::size_t>(last - first)};
}

/// Whether the axes of the picture become those of the canvas, and whether they are exchanged then.
enum class Alignment { none, kept, swapped };

Alignment alignmentOf(const AffineMap& map, const LazyImage& image) {
  const auto w = static_cast<double>(image.width());
  const auto h = static_cast<double>(image.height());
  // What the off-axis terms move across the whole picture.
  if (std::abs(map.b) * w < placementTolerance && std::abs(map.c) * h < placementTolerance)
    return Alignment::kept;
  if (std::abs(map.a) * w < placementTolerance && std::abs(map.d) * h < placementTolerance)
    return Alignment::swapped;
  return Alignment::none;
}

Placement place(const std::shared_ptr<const LazyImage>& image, const AffineMap& map,
                const CropRect& crop, std::size_t canvasWidth, std::size_t canvasHeight) {
  const auto left = static_cast<double>(crop.columns.first);
  const auto right = static_cast<double>(crop.columns.end());
  const auto top = static_cast<double>(crop.rows.first);
  const auto bottom = static_cast<double>(crop.rows.end());
  Extent x{INFINITY, -INFINITY};
  Extent y{INFINITY, -INFINITY};
  for (const Point corner :
       {Point{left, top}, Point{right, top}, Point{left, bottom}, Point{right, bottom}}) {
    const Point on = map.apply(corner);
    x = {std::min(x.low, on.x), std::max(x.high, on.x)};
    y = {std::min(y.low, on.y), std::max(y.high, on.y)};
  }
  x = {snapped(x.low), snapped(x.high)};
  y = {snapped(y.low), snapped(y.high)};
  Placement placement{image, map, touched(x, canvasWidth), touched(y, canvasHeight), {}};
  const PixelRange& columns = placement.columns;
  const PixelRange& rows = placement.rows;
  const Alignment alignment = alignmentOf(map, *image);
  if (alignment == Alignment::kept)
    placement.aligned = {{map.a, map.tx, image->width(), crop.columns, columns, x},
                         {map.d, map.ty, image->height(), crop.rows, rows, y},
                         false};
  if (alignment == Alignment::swapped)
    placement.aligned = {{map.b, map.ty, image->width(), crop.columns, rows, y},
                         {map.c, map.tx, image->height(), crop.rows, columns, x},
                         true};
  return placement;
}

/// The stored pixels behind all of the canvas, where every pixel of it is one of them.
std::optional<PixelRange> pixelsBehind(const AxisPlacement& axis, std::size_t canvasLength) {
  const auto canvas = static_cast<double>(canvasLength);
  if (axis.covered.low > 0 || axis.covered.high < canvas ||
      std::abs(axis.offset - std::round(axis.offset)) >= placementTolerance)
    return std::nullopt;
  const auto first = std::lround(axis.scale > 0 ? -axis.offset : axis.offset - canvas);
  return PixelRange{static_cast<std::size_t>(first), canvasLength};
}

/// What a canvas shows of the only picture on it, if it does no more than orient and crop.
std::optional<CropRect> cropOf(const Placement& inner, const DrawList& canvas) {
  if (!inner.aligned) return std::nullopt;
  const AlignedPlacement& axes = *inner.aligned;
  const auto longest = static_cast<double>(std::max(axes.columns.length, axes.rows.length));
  for (const AxisPlacement* axis : {&axes.columns, &axes.rows})
    if (std::abs(std::abs(axis->scale) - 1) * longest >= placementTolerance) return std::nullopt;
  const auto columns = pixelsBehind(axes.columns, axes.swapsAxes ? canvas.height : canvas.width);
  const auto rows = pixelsBehind(axes.rows, axes.swapsAxes ? canvas.width : canvas.height);
  if (!columns || !rows) return std::nullopt;
  return CropRect{*columns, *rows};
}

}  // namespace

bool Placement::shows() const {
  return map.isFinite() && std::abs(map.determinant()) > 0 && columns.count > 0 && rows.count > 0;
}

Placement placementOf(const DrawCommand& command, std::size_t canvasWidth,
                      std::size_t canvasHeight) {
  const DrawList* canvas = command.image->drawList();
  if (canvas && canvas->commands.size() == 1) {
    const Placement inner = placementOf(canvas->commands.front(), canvas->width, canvas->height);
    const auto crop = cropOf(inner, *canvas);
    // A free rotation blends over the edges of a picture, and so needs one that ends there.
    if (crop && (alignmentOf(command.map, *command.image) != Alignment::none ||
                 *crop == allOf(*inner.image)))
      return place(inner.image, compose(command.map, inner.map), *crop, canvasWidth, canvasHeight);
  }
  return place(command.image, command.map, allOf(*command.image), canvasWidth, canvasHeight);
}

}  // namespace vecamera::device::imaging
