#pragma once

#include <cstddef>

#include "VECamera/platform/Value.h"
#include "device/imaging/base/AffineMap.h"
#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/PictureFormat.h"

namespace vecamera::device::imaging {

class LazyImage;

/// One picture drawn on a canvas: the map takes the coordinates of its stored pixels to those of
/// the canvas. Every kind of drawing is recorded as this.
struct DrawCommand {
  std::shared_ptr<const LazyImage> image;
  AffineMap map;
};

/// An encoded picture that is not decoded yet.
struct EncodedImage {
  Data bytes;
  PictureHeader header;

  ColorProfile profile() const {
    return header.profile.empty() ? nullptr : std::make_shared<const EncodedBytes>(header.profile);
  }
};

/// A transparent canvas and what was drawn on it, in order; not carried out yet.
struct DrawList {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<DrawCommand> commands;
};

/// What the pixels of a picture are made from. Immutable. Pixels are made each time they are asked
/// for (Render.h) and never kept here. So a picture takes no more memory than its bytes, and a
/// rotation and a scaling that were asked for one after the other are carried out together.
class LazyImage {
 public:
  explicit LazyImage(EncodedImage encoded) : content_(std::move(encoded)) {}
  explicit LazyImage(DrawList drawList) : content_(std::move(drawList)) {}

  /// One of the two is null.
  const EncodedImage* encoded() const { return std::get_if<EncodedImage>(&content_); }
  const DrawList* drawList() const { return std::get_if<DrawList>(&content_); }
  /// In pixels, as stored.
  std::size_t width() const { return encoded() ? encoded()->header.width : drawList()->width; }
  std::size_t height() const { return encoded() ? encoded()->header.height : drawList()->height; }

 private:
  std::variant<EncodedImage, DrawList> content_;
};

}  // namespace vecamera::device::imaging
