#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "device/imaging/base/Orientation.h"
#include "device/imaging/platform/Picture.h"
#include "device/imaging/resample/Resample.h"

namespace vecamera::device::imaging {

/// The part of a canvas axis that a picture covers, in pixels and fractions.
struct Extent {
  double low = 0;
  double high = 0;
};

/// How a drawing lies on its canvas. Canvases that only turn, mirror and cut a picture are passed
/// through, so that what was asked for one after the other becomes one map from stored pixels.
struct Placement {
  std::shared_ptr<const Source> source;
  AffineMap map;
  /// Of the stored pixels.
  SourceRect usable;
  /// What an axis-aligned map turns; nothing for any other map.
  std::optional<Turn> turn;
  Extent x;
  Extent y;
  /// The pixels of the canvas that the picture touches.
  PixelRange columns;
  PixelRange rows;

  /// False for what leaves nothing on the canvas.
  bool shows() const;
};

Placement placementOf(const DrawCommand& drawing, std::size_t canvasWidth,
                      std::size_t canvasHeight);

/// The samples, of which there are `length`, that show any of the stored pixels, where each sample
/// spans `step` of them.
PixelRange samplesOf(const PixelRange& pixels, double step, std::size_t length);

/// The share of each pixel of the range that the extent covers; empty where it is all of all.
std::vector<double> coverage(const Extent& extent, const PixelRange& range);

}  // namespace vecamera::device::imaging
