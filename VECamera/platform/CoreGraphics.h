#pragma once

#include <cstddef>

#include "VECamera/platform/Value.h"

namespace vecamera {

/// In points; fractional values are kept as computed.
struct CGSize {
  double width = 0;
  double height = 0;
  friend bool operator==(const CGSize&, const CGSize&) = default;
};

struct CGRect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  friend bool operator==(const CGRect&, const CGRect&) = default;
};

/// A bitmap as it is stored, without any orientation. Immutable and shared; any thread may use it.
class CGImage : public Object {
 public:
  /// In pixels.
  virtual std::size_t width() const = 0;
  virtual std::size_t height() const = 0;
};

/// A drawing surface with a current transformation matrix. x runs right, y runs down; a positive
/// rotation turns clockwise as seen. Each operation changes the matrix for what is drawn after it.
/// Used on the thread that made the surface.
class CGContext {
 public:
  virtual ~CGContext() = default;
  virtual void translateBy(double x, double y) = 0;
  virtual void rotateBy(double radians) = 0;
  virtual void scaleBy(double x, double y) = 0;
  /// Draws the bare bitmap into the rectangle, once, in the bitmap's own bottom-up sense: under the
  /// identity matrix of a y-down surface it comes out upside down, as on the platform.
  virtual void drawImage(const std::shared_ptr<const CGImage>& image, const CGRect& rect) = 0;
};

}  // namespace vecamera
