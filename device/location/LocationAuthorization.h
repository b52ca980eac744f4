#pragma once

namespace vecamera::device::location {

/// The user's decision about location, with the same cases as the camera's.
enum class LocationAuthorization { notDetermined = 0, restricted = 1, denied = 2, authorized = 3 };

}  // namespace vecamera::device::location
