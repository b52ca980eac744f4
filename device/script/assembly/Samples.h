#pragma once

#include <string>

namespace vecamera::device::script {

/// The folder of the project's samples: that of the source tree, or, where it is gone, that of the
/// installation. Without a trailing slash.
std::string samplesFolder();

}  // namespace vecamera::device::script
