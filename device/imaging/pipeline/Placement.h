#pragma once

#include <memory>
#include <optional>

#include "device/imaging/pipeline/LazyImage.h"
#include "device/imaging/resample/AxisPlacement.h"

namespace vecamera::device::imaging {

/// How a picture lies on the canvas that it is drawn on. Where that picture is itself a canvas that
/// only orients and crops another one, the other one takes its place, so that successive drawings
/// become one map from stored pixels.
struct Placement {
  std::shared_ptr<const LazyImage> image;
  AffineMap map;
  /// The pixels of the canvas that the picture touches.
  PixelRange columns;
  PixelRange rows;
  /// The map of each axis; nothing where the map rotates or skews freely.
  std::optional<AlignedPlacement> aligned;

  /// False for what leaves nothing on the canvas.
  bool shows() const;
};

Placement placementOf(const DrawCommand& command, std::size_t canvasWidth,
                      std::size_t canvasHeight);

}  // namespace vecamera::device::imaging
