#pragma once

#import <UIKit/UIKit.h>

#include <cstdint>
#include <memory>
#include <optional>

#include "VECamera/platform/UIKit.h"

namespace vecamera_ios {

/// The picture as the module knows it; null for nil. Any thread. A picture that has a `CIImage`
/// and no bitmap gets one, rendered once, when its bitmap or its encoded form is asked for.
std::shared_ptr<vecamera::UIImage> imageOf(UIImage* _Nullable image);

/// The phone's bitmap behind one that this host made, owned by it; null for any other.
CGImageRef _Nullable nativeImage(const vecamera::CGImage* _Nullable image);

/// A larger bitmap is neither drawn nor rendered: a page may ask for any size, and what the phone
/// cannot give ends the process. At first one pixel for each 32 bytes of the phone's memory: of
/// four bytes a pixel, an eighth of it. One limit for the process. Any thread.
std::uint64_t maxBitmapPixels();
void setMaxBitmapPixels(std::uint64_t pixels);

class Images : public vecamera::UIImages {
 public:
  std::shared_ptr<vecamera::UIImage> imageWithData(const vecamera::Data& data) override;
  std::optional<vecamera::Data> UIImageJPEGRepresentation(
      const std::shared_ptr<vecamera::UIImage>& image, double compressionQuality) override;
  std::optional<vecamera::Data> UIImagePNGRepresentation(
      const std::shared_ptr<vecamera::UIImage>& image) override;
};

/// Image contexts of UIKit: 8 bits a component, four bytes a pixel, y down. UIKit keeps a stack of
/// them for each thread.
class Graphics : public vecamera::UIGraphics {
 public:
  std::unique_ptr<vecamera::UIGraphicsImageContext> beginImageContext(
      vecamera::CGSize size) override;
};

}  // namespace vecamera_ios
