#pragma once

#include <cstddef>

#include "VECamera/platform/Value.h"
#include "device/imaging/base/AffineMap.h"
#include "device/imaging/base/PictureFormat.h"

namespace vecamera::device::imaging {

class LazyImage;

/// One picture drawn on a canvas: the map takes the coordinates of its stored pixels to those of
/// the canvas. Every kind of drawing comes down to this.
struct DrawCommand {
  std::shared_ptr<const LazyImage> image;
  AffineMap map;
};

/// An encoded picture that nobody has decoded yet.
struct EncodedImage {
  Data bytes;
  PictureHeader header;
};

/// A transparent canvas and what was drawn on it, in order, not carried out yet.
struct DrawList {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<DrawCommand> commands;
};

/// What the pixels of a picture are made from. Immutable; pixels are made each time they are asked
/// for (Render.h) and never kept here, so that a picture costs no more than its bytes, and a turn
/// and a scaling that were asked for one after the other are carried out together.
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
