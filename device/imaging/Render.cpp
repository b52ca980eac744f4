#include "device/imaging/Render.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "device/imaging/Codecs.h"
#include "device/imaging/Resample.h"
#include "device/imaging/Turn.h"

namespace vecamera::device {
namespace {

/// Differences in place below this, in pixels, cannot be seen.
constexpr double tolerance = 1e-3;

/// The part of a canvas axis that a picture covers, in pixels and fractions.
struct Extent {
  double low = 0;
  double high = 0;
};

/// What one drawing leaves on the canvas.
struct Layer {
  Bitmap bitmap;
  PixelRange columns;
  PixelRange rows;
};

/// How a drawing lies on its canvas.
struct Placement {
  Extent x;
  Extent y;
  PixelRange columns;
  PixelRange rows;
};

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

Placement placementOf(const Drawing& drawing, std::size_t width, std::size_t height) {
  const auto w = static_cast<double>(drawing.source->width());
  const auto h = static_cast<double>(drawing.source->height());
  Placement result;
  result.x = {INFINITY, -INFINITY};
  result.y = {INFINITY, -INFINITY};
  for (const Point corner : {Point{0, 0}, Point{w, 0}, Point{0, h}, Point{w, h}}) {
    const Point on = drawing.map.apply(corner);
    result.x = {std::min(result.x.low, on.x), std::max(result.x.high, on.x)};
    result.y = {std::min(result.y.low, on.y), std::max(result.y.high, on.y)};
  }
  result.x = {snapped(result.x.low), snapped(result.x.high)};
  result.y = {snapped(result.y.low), snapped(result.y.high)};
  result.columns = touched(result.x, width);
  result.rows = touched(result.y, height);
  return result;
}

/// The turn that an axis-aligned map contains, or nothing for any other map.
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

/// True where the drawing lays every pixel of its source on one pixel of the canvas, and the canvas
/// holds nothing else.
bool isMereTurn(const Recording& canvas) {
  if (canvas.drawings.size() != 1) return false;
  const Drawing& only = canvas.drawings.front();
  const auto turn = turnIn(only.map, *only.source);
  if (!turn) return false;
  const auto [width, height] = turn->swapsAxes
                                   ? std::array{only.source->height(), only.source->width()}
                                   : std::array{only.source->width(), only.source->height()};
  if (width != canvas.width || height != canvas.height) return false;
  const Placement placement = placementOf(only, canvas.width, canvas.height);
  return placement.x.low == 0 && placement.x.high == static_cast<double>(width) &&
         placement.y.low == 0 && placement.y.high == static_cast<double>(height);
}

/// Passes through canvases that only turn a picture, so that the turn joins this drawing.
Drawing simplified(Drawing drawing) {
  for (const Recording* inner = drawing.source->recording(); inner && isMereTurn(*inner);
       inner = drawing.source->recording()) {
    const Drawing& only = inner->drawings.front();
    drawing = {only.source, compose(drawing.map, only.map)};
  }
  return drawing;
}

std::optional<DecodedPicture> turnedPixels(const Source& source, const Turn& turn,
                                           double coverWidth, double coverHeight) {
  if (const Encoded* encoded = source.encoded()) {
    auto decoded = decode(encoded->bytes.bytes(), encoded->header, turn, coverWidth, coverHeight);
    if (decoded && !encoded->header.profile.empty())
      decoded->bitmap.setProfile(
          std::make_shared<const std::vector<std::uint8_t>>(encoded->header.profile));
    return decoded;
  }
  auto pixels = render(source);
  if (pixels) pixels = turned(std::move(*pixels), turn);
  if (!pixels) return std::nullopt;
  return DecodedPicture{std::move(*pixels), 1};
}

/// The share of each pixel of the range that the extent covers; empty where it is all of all.
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

void fadeEdges(Bitmap& bitmap, const Placement& placement) {
  const auto across = coverage(placement.x, placement.columns);
  const auto down = coverage(placement.y, placement.rows);
  if (across.empty() && down.empty()) return;
  const auto fade = [&](std::size_t x, std::size_t y) {
    const double share = (across.empty() ? 1 : across[x]) * (down.empty() ? 1 : down[y]);
    const auto weight = static_cast<unsigned>(std::lround(share * 255));
    std::uint8_t* pixel = bitmap.bytesOfRow(y) + 4 * x;
    for (int channel = 0; channel < 4; ++channel)
      pixel[channel] = multiplied(pixel[channel], weight);
  };
  const std::size_t lastRow = bitmap.height() - 1;
  const std::size_t lastColumn = bitmap.width() - 1;
  for (std::size_t x = 0; x <= lastColumn; ++x) {
    fade(x, 0);
    if (lastRow > 0) fade(x, lastRow);
  }
  for (std::size_t y = 1; y < lastRow; ++y) {
    fade(0, y);
    if (lastColumn > 0) fade(lastColumn, y);
  }
  bitmap.setKnownOpaque(false);
}

/// How turned pixels, of which there are `length` along the axis, lie on the canvas. `stretch` is
/// the signed stretch of a source pixel and `shift` where source coordinate 0 comes to lie.
AxisMap axisMap(double stretch, double shift, const DecodedPicture& pixels, std::size_t length) {
  const double scale = stretch * pixels.sourcePixels;
  if (scale > 0) return {scale, shift};
  return {-scale, shift + scale * static_cast<double>(length)};
}

std::optional<Bitmap> drawnAligned(const Drawing& drawing, const Turn& turn,
                                   const Placement& placement) {
  const AffineMap& map = drawing.map;
  const double stretchX = turn.swapsAxes ? map.c : map.a;
  const double stretchY = turn.swapsAxes ? map.b : map.d;
  const double shownWidth = placement.x.high - placement.x.low;
  const double shownHeight = placement.y.high - placement.y.low;
  auto pixels = turnedPixels(*drawing.source, turn, turn.swapsAxes ? shownHeight : shownWidth,
                             turn.swapsAxes ? shownWidth : shownHeight);
  if (!pixels) return std::nullopt;
  const AxisMap x = axisMap(stretchX, map.tx, *pixels, pixels->bitmap.width());
  const AxisMap y = axisMap(stretchY, map.ty, *pixels, pixels->bitmap.height());
  auto result = resampled(std::move(pixels->bitmap), x, y, placement.columns, placement.rows);
  if (result) fadeEdges(*result, placement);
  return result;
}

std::optional<Bitmap> drawnFreely(const Drawing& drawing, const Placement& placement) {
  const auto cover = [](double first, double second, std::size_t length) {
    return std::hypot(first, second) * static_cast<double>(length);
  };
  auto pixels = turnedPixels(*drawing.source, {},
                             cover(drawing.map.a, drawing.map.b, drawing.source->width()),
                             cover(drawing.map.c, drawing.map.d, drawing.source->height()));
  if (!pixels) return std::nullopt;
  const double step = pixels->sourcePixels;
  return transformed(std::move(pixels->bitmap),
                     compose(drawing.map, AffineMap::scaling(step, step)), placement.columns,
                     placement.rows);
}

/// A drawing that does not show on the canvas has no layer, which is no failure.
bool shows(const Drawing& drawing, const Placement& placement) {
  return drawing.map.isFinite() && std::abs(drawing.map.determinant()) > 0 &&
         placement.columns.count > 0 && placement.rows.count > 0;
}

std::optional<Bitmap> drawn(const Drawing& drawing, const Placement& placement) {
  const auto turn = turnIn(drawing.map, *drawing.source);
  return turn ? drawnAligned(drawing, *turn, placement) : drawnFreely(drawing, placement);
}

void composeOver(const Layer& layer, Bitmap& canvas) {
  for (std::size_t y = 0; y < layer.rows.count; ++y) {
    const std::uint8_t* from = layer.bitmap.bytesOfRow(y);
    std::uint8_t* to = canvas.bytesOfRow(layer.rows.first + y) + 4 * layer.columns.first;
    for (std::size_t x = 0; x < layer.columns.count; ++x, from += 4, to += 4) {
      const unsigned shining = 255u - from[3];
      for (int channel = 0; channel < 4; ++channel)
        to[channel] = static_cast<std::uint8_t>(
            std::min(255, from[channel] + multiplied(to[channel], shining)));
    }
  }
}

bool sameProfile(const ColorProfile& a, const ColorProfile& b) {
  return a == b || (a && b && *a == *b);
}

bool fills(const Layer& layer, const Recording& canvas) {
  return layer.columns.count == canvas.width && layer.rows.count == canvas.height;
}

/// Lays the layer on what there is so far; the first one may become the canvas itself.
bool lay(Layer layer, const Recording& recording, std::optional<Bitmap>& canvas) {
  if (!canvas && fills(layer, recording)) {
    canvas = std::move(layer.bitmap);
    return true;
  }
  if (!canvas) {
    canvas = Bitmap::transparent(recording.width, recording.height);
    if (!canvas) return false;
    canvas->setProfile(layer.bitmap.profile());
  }
  composeOver(layer, *canvas);
  if (layer.bitmap.knownOpaque() && fills(layer, recording)) canvas->setKnownOpaque(true);
  // Pixels of several colour spaces are taken as they are, without a profile.
  if (!sameProfile(canvas->profile(), layer.bitmap.profile())) canvas->setProfile(nullptr);
  return true;
}

std::optional<Bitmap> carriedOut(const Recording& recording) {
  std::optional<Bitmap> canvas;
  for (const Drawing& recorded : recording.drawings) {
    const Drawing drawing = simplified(recorded);
    const Placement placement = placementOf(drawing, recording.width, recording.height);
    if (!shows(drawing, placement)) continue;
    auto bitmap = drawn(drawing, placement);
    if (!bitmap || !lay({std::move(*bitmap), placement.columns, placement.rows}, recording, canvas))
      return std::nullopt;
  }
  if (!canvas) canvas = Bitmap::transparent(recording.width, recording.height);
  return canvas;
}

}  // namespace

std::optional<Bitmap> render(const Source& source) {
  if (const Recording* recording = source.recording()) return carriedOut(*recording);
  const auto width = static_cast<double>(source.width());
  const auto height = static_cast<double>(source.height());
  auto pixels = turnedPixels(source, {}, width, height);
  if (!pixels) return std::nullopt;
  return std::move(pixels->bitmap);
}

}  // namespace vecamera::device
