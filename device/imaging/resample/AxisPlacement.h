#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "device/imaging/base/Orientation.h"

namespace vecamera::device::imaging {

/// Differences in place below this, in pixels, cannot be seen.
inline constexpr double placementTolerance = 1e-3;

/// A range of whole pixels of an axis.
struct PixelRange {
  std::size_t first = 0;
  std::size_t count = 0;
  std::size_t end() const { return first + count; }
  friend bool operator==(const PixelRange&, const PixelRange&) = default;
};

/// A part of an axis, in pixels and fractions.
struct Extent {
  double low = 0;
  double high = 0;
  friend bool operator==(const Extent&, const Extent&) = default;
};

/// How many of the `length` stored samples of an axis each pixel of the result spans at the scale.
inline double storedPerResult(double scale, std::size_t length) {
  // Both lengths are whole for most pictures, so that their ratio is exact where 1 / scale may miss
  // the limit of a decoder's scale by a rounding error.
  const auto stored = static_cast<double>(length);
  return stored / (std::abs(scale) * stored);
}

/// How one axis of a stored picture lies on the axis of the canvas that it becomes.
struct AxisPlacement {
  /// canvas = scale * stored + offset. Not zero; a negative scale mirrors.
  double scale = 1;
  double offset = 0;
  /// How many samples are stored, and which of them belong to the picture. What lies outside of
  /// those does not show, not even through a filter.
  std::size_t length = 0;
  PixelRange source;
  /// The pixels of the canvas that are made, and what the picture covers of the canvas.
  PixelRange window;
  Extent covered;

  /// How many stored samples each pixel of the canvas spans.
  double storedPerResult() const { return imaging::storedPerResult(scale, length); }
  /// The same axis where `count` samples are stored, one for each `step` of those here, and where
  /// the canvas has one sample for each `canvasStep` pixels.
  AxisPlacement sampled(double step, std::size_t count, int canvasStep = 1) const;
  /// The same axis of a bitmap that was mirrored where the scale is negative, which makes it
  /// positive.
  AxisPlacement unmirrored() const;
  /// True where stored pixels only move by a whole number of pixels, perhaps mirrored.
  bool movesByWholePixels() const;
  /// True where the canvas shows all stored pixels, each as one pixel.
  bool isIdentity() const;
  /// The share of each pixel of the window that is covered; empty where all are covered entirely.
  std::vector<double> coverage() const;
};

/// Samples of a picture, and how many stored pixels each spans along the axes.
struct SampleGrid {
  std::size_t width = 0;
  std::size_t height = 0;
  double stepX = 1;
  double stepY = 1;
  friend bool operator==(const SampleGrid&, const SampleGrid&) = default;
};

/// How a stored picture lies on a canvas whose axes are parallel to its own. Which stored axis an
/// axis of the canvas reads is decided here only; decoding, resampling and copying take it from
/// here.
struct AlignedPlacement {
  /// The axis along which stored columns, and the one along which stored rows are counted.
  AxisPlacement columns;
  AxisPlacement rows;
  /// Stored columns become rows of the canvas.
  bool swapsAxes = false;

  /// The stored axis that becomes the horizontal or the vertical one of the canvas.
  const AxisPlacement& x() const { return swapsAxes ? rows : columns; }
  const AxisPlacement& y() const { return swapsAxes ? columns : rows; }
  Orientation orientation() const { return {swapsAxes, x().scale < 0, y().scale < 0}; }
  /// Along the axis on which it is less.
  double storedPerResult() const {
    return std::min(columns.storedPerResult(), rows.storedPerResult());
  }
  double minScale() const { return std::min(std::abs(columns.scale), std::abs(rows.scale)); }
  /// The same for other samples of the picture and of the canvas, as in `AxisPlacement::sampled`.
  AlignedPlacement sampled(const SampleGrid& grid, int canvasStep = 1) const {
    return {columns.sampled(grid.stepX, grid.width, canvasStep),
            rows.sampled(grid.stepY, grid.height, canvasStep), swapsAxes};
  }
};

}  // namespace vecamera::device::imaging
