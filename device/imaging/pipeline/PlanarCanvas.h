#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "device/imaging/pipeline/Placement.h"
#include "device/imaging/resample/PlaneScaler.h"

namespace vecamera::device::imaging {

/// A component (brightness, or one of the two colours) of a stored picture: its samples, and how
/// many stored pixels each spans.
struct StoredComponent {
  std::size_t width = 0;
  std::size_t height = 0;
  double stepX = 1;
  double stepY = 1;
  SampleFormat unit = SampleFormat::byte;
  friend bool operator==(const StoredComponent&, const StoredComponent&) = default;
};

/// A component of the canvas. Rows have room for whole 64 bytes.
struct CanvasPlane {
  PlaneView view;
  ScratchBuffer memory;
};

/// A canvas that one picture fills, kept as a JPEG keeps it: brightness, and two colours that may
/// be coarser. Rows of the stored components come in; each component is turned and resampled by
/// itself.
class PlanarCanvas {
 public:
  /// True for layouts that this canvas can carry out: an axis-aligned map that fills the canvas.
  static bool takes(const Placement& layout, std::size_t width, std::size_t height);

  /// `components` are one (grey) or three; `chromaStep` pixels of the canvas make one sample of a
  /// colour, both ways. A band that is pushed has at most `bandRows` rows.
  PlanarCanvas(const Placement& layout, std::size_t width, std::size_t height,
               const std::vector<StoredComponent>& components, int chromaStep,
               std::size_t bandRows);

  /// False where the memory could not be had, or a component would have to shrink too far.
  bool ready() const { return ready_; }
  std::size_t width() const { return width_; }
  std::size_t height() const { return height_; }

  /// The next rows of a stored component, as in `PlaneScaler::push`.
  void push(std::size_t component, const std::uint8_t* const* rows, std::size_t count);
  /// Once all rows were pushed: the planes. White shines through where the picture covers a pixel
  /// in part. Empty where memory or rows were lacking.
  std::vector<CanvasPlane> finish();

 private:
  std::size_t width_;
  std::size_t height_;
  Extent coveredX_;
  Extent coveredY_;
  int chromaStep_;
  std::vector<std::unique_ptr<PlaneScaler>> scalers_;
  bool ready_ = true;
};

}  // namespace vecamera::device::imaging
