#pragma once

#include "VECamera/platform/UIKit.h"
#include "device/imaging/base/PictureFormat.h"

namespace vecamera::device::imaging {

/// Off-screen canvases that record what is drawn. The images made of them are rendered when their
/// bytes or pixels are asked for (Render.h).
///
/// A fractional size makes a canvas of the next whole number of pixels. What covers a pixel in part
/// is drawn with that share of its alpha. A size that is empty, not finite or over the limits gives
/// a context without a current context and without an image.
class Graphics final : public UIGraphics {
 public:
  explicit Graphics(PictureLimits limits = {}) : limits_(limits) {}
  std::unique_ptr<UIGraphicsImageContext> beginImageContext(CGSize size) override;

 private:
  PictureLimits limits_;
};

}  // namespace vecamera::device::imaging
