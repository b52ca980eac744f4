#pragma once

#import <ImageIO/ImageIO.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "VECamera/platform/ImageIO.h"

namespace vecamera_ios {

/// Pictures' files by ImageIO, and their properties by Core Image. A destination encodes when its
/// data is asked for, and not before.
class ImageIO : public vecamera::ImageIO {
 public:
  std::unique_ptr<vecamera::CGImageSource> CGImageSourceCreateWithData(
      const vecamera::Data& data) override;
  std::unique_ptr<vecamera::CGImageDestination> CGImageDestinationCreateWithData(
      const vecamera::Data& data, std::string_view type, std::size_t count) override;
  std::optional<vecamera::Dictionary> CIImageProperties(const vecamera::Data& data) override;
};

}  // namespace vecamera_ios
