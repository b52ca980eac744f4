#pragma once

#include <string_view>

namespace vecamera::device::container {

/// The permissions that the system asks the user for.
enum class Permission { camera, photoLibrary, location };

/// "camera", "photoLibrary" or "location".
inline std::string_view nameOf(Permission permission) {
  switch (permission) {
    case Permission::camera: return "camera";
    case Permission::photoLibrary: return "photoLibrary";
    case Permission::location: return "location";
  }
  return "unknown";
}

}  // namespace vecamera::device::container
