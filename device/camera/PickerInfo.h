#pragma once

#include <optional>

#include "VECamera/platform/UIKit.h"

namespace vecamera::device::camera {

/// What the user did with the picture before using it.
struct PickerEdit {
  /// In pixels of the upright picture; nothing: the picture was not edited.
  std::optional<CGRect> crop;
};

/// The info dictionary of a picker for a still picture: its type, the original image where the
/// bytes can be opened, and the edited one where there was an edit.
Dictionary pictureInfo(UIImages& images, const Data& picture, const PickerEdit& edit);

/// The info dictionary for a movie at the URL.
Dictionary movieInfo(const URL& movie);

}  // namespace vecamera::device::camera
