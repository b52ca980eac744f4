#pragma once

#include <cstddef>
#include <cstdint>

#include "VECamera/platform/UIKit.h"
#include "device/base/Result.h"

namespace vecamera::device::camera {

/// Why there is no scene.
enum class TestSceneError {
  /// A side is zero or too large for a JPEG.
  invalidSize,
  /// It cannot be painted or encoded: memory is short, or the metadata cannot be written.
  notEncoded,
};

/// The picture that the software camera takes when it is given none: a landscape with a colour
/// chart and an arrow that points up, as a JPEG with Exif metadata. As on a phone, it is stored
/// rotated, with the orientation that shows it upright. `width` and `height` are the stored sides
/// in pixels; the seed changes the land and the time of day.
///
/// The camera's own metadata (make, model, exposure, sides) is written first, and `metadata`, a
/// property dictionary as in device/imaging/metadata/Metadata.h, over it. The same arguments give
/// the same bytes.
Result<Data, TestSceneError> generateTestScene(std::size_t width, std::size_t height,
                                               UIImageOrientation storedOrientation,
                                               std::uint32_t seed, const Dictionary& metadata);

}  // namespace vecamera::device::camera
