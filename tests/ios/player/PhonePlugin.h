#pragma once

#include "device/container/PluginObject.h"

namespace vecamera::ios {

/// The phone's class `VECameraPlugin`, as a container of the software device holds it. The platform
/// is the one behind the stand-ins.
device::container::PluginObject makePhonePlugin();

}  // namespace vecamera::ios
