#pragma once

#include <cmath>

namespace vecamera::device::imaging {

struct Point {
  double x = 0;
  double y = 0;
};

/// x' = a x + c y + tx and y' = b x + d y + ty, with the platform's names of the members.
struct AffineMap {
  double a = 1;
  double b = 0;
  double c = 0;
  double d = 1;
  double tx = 0;
  double ty = 0;

  static AffineMap translation(double x, double y) { return {1, 0, 0, 1, x, y}; }
  static AffineMap scaling(double x, double y) { return {x, 0, 0, y, 0, 0}; }
  /// Clockwise as seen where y runs down.
  static AffineMap rotation(double radians) {
    const double sine = std::sin(radians);
    const double cosine = std::cos(radians);
    return {cosine, sine, -sine, cosine, 0, 0};
  }

  Point apply(Point p) const { return {a * p.x + c * p.y + tx, b * p.x + d * p.y + ty}; }
  double determinant() const { return a * d - b * c; }
  bool isFinite() const {
    return std::isfinite(a) && std::isfinite(b) && std::isfinite(c) && std::isfinite(d) &&
           std::isfinite(tx) && std::isfinite(ty);
  }
};

/// The map that carries out `inner` first and `outer` on its result.
inline AffineMap compose(const AffineMap& outer, const AffineMap& inner) {
  return {outer.a * inner.a + outer.c * inner.b,
          outer.b * inner.a + outer.d * inner.b,
          outer.a * inner.c + outer.c * inner.d,
          outer.b * inner.c + outer.d * inner.d,
          outer.a * inner.tx + outer.c * inner.ty + outer.tx,
          outer.b * inner.tx + outer.d * inner.ty + outer.ty};
}

}  // namespace vecamera::device::imaging
