#pragma once

#include <memory>

#include "VECamera/platform/UIKit.h"

namespace vecamera {

/// Where a picture is drawn, and on how large a canvas. In points, nothing rounded.
struct ScalingGeometry {
  CGSize canvas;
  CGRect drawRect;
};

/// Fills the target exactly: the larger of the two factors wins, and the overhang is cut off in
/// equal parts on both sides.
ScalingGeometry geometryForScalingAndCropping(CGSize source, CGSize target);
/// Fits inside the target: the smaller factor wins, and the canvas shrinks to the scaled picture.
ScalingGeometry geometryForScalingNotCropping(CGSize source, CGSize target);

// The operations below make a new picture at scale 1 with orientation up, or give null where the
// platform cannot make one. They keep no state and run on any executor. The target's sides are
// greater than zero.

std::shared_ptr<UIImage> imageByScalingAndCroppingForSize(UIGraphics& graphics,
                                                          const std::shared_ptr<UIImage>& image,
                                                          CGSize target);
std::shared_ptr<UIImage> imageByScalingNotCroppingForSize(UIGraphics& graphics,
                                                          const std::shared_ptr<UIImage>& image,
                                                          CGSize target);
/// Redraws the bare bitmap rotated as the orientation asks, at the picture's own size. Mirrored
/// orientations are not unmirrored: they take the path of `up`.
std::shared_ptr<UIImage> imageCorrectedForCaptureOrientation(UIGraphics& graphics,
                                                             const std::shared_ptr<UIImage>& image,
                                                             UIImageOrientation orientation);

}  // namespace vecamera
