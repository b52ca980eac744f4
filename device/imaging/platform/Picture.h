#pragma once

#include <cstddef>
#include <memory>
#include <variant>
#include <vector>

#include "VECamera/platform/UIKit.h"
#include "device/imaging/base/AffineMap.h"
#include "device/imaging/base/PictureFormat.h"

namespace vecamera::device::imaging {

class Source;

/// One picture drawn on a canvas: the map takes the coordinates of its stored pixels to those of
/// the canvas. Every way of drawing comes down to this.
struct DrawCommand {
  std::shared_ptr<const Source> source;
  AffineMap map;
};

/// An encoded picture that nobody has decoded yet.
struct Encoded {
  Data bytes;
  PictureHeader header;
};

/// A transparent canvas and what was drawn on it, in order, not carried out yet.
struct DrawList {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<DrawCommand> drawings;
};

/// Where the pixels of a picture come from. Immutable; pixels are made each time they are asked
/// for (Render.h) and never kept here, so that a picture costs no more than its bytes, and a turn
/// and a scaling that were asked for one after the other are carried out together.
class Source {
 public:
  explicit Source(Encoded encoded) : content_(std::move(encoded)) {}
  explicit Source(DrawList recording) : content_(std::move(recording)) {}

  const Encoded* encoded() const { return std::get_if<Encoded>(&content_); }
  const DrawList* recording() const { return std::get_if<DrawList>(&content_); }
  /// In pixels, as stored.
  std::size_t width() const;
  std::size_t height() const;

 private:
  std::variant<Encoded, DrawList> content_;
};

/// The bare bitmap of a picture. It exists, with its size, even where decoding will fail.
class StoredBitmap final : public CGImage {
 public:
  explicit StoredBitmap(std::shared_ptr<const Source> source) : source_(std::move(source)) {}
  std::size_t width() const override { return source_->width(); }
  std::size_t height() const override { return source_->height(); }
  const std::shared_ptr<const Source>& source() const { return source_; }

 private:
  std::shared_ptr<const Source> source_;
};

/// The device's picture, always at scale 1. Objects of other classes that stand in for a picture
/// have no pixels for this device: drawing one does nothing, encoding one gives nothing.
class Picture final : public UIImage {
 public:
  Picture(std::shared_ptr<const Source> source, UIImageOrientation orientation);

  /// Reads the head of the bytes only. Null where they are no known picture or claim more pixels
  /// than the limits allow.
  static std::shared_ptr<Picture> open(const Data& bytes, const PictureLimits& limits);

  CGSize size() const override;
  UIImageOrientation imageOrientation() const override { return orientation_; }
  double scale() const override { return 1; }
  std::shared_ptr<const CGImage> cgImage() const override { return bitmap_; }
  const std::shared_ptr<const Source>& source() const { return bitmap_->source(); }

 private:
  std::shared_ptr<const StoredBitmap> bitmap_;
  UIImageOrientation orientation_;
};

/// The source behind the object, or null where the object is null or not of this device.
std::shared_ptr<const Source> sourceOf(const UIImage* image);
std::shared_ptr<const Source> sourceOf(const CGImage* bitmap);

}  // namespace vecamera::device::imaging
