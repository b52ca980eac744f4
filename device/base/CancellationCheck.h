#pragma once

#include <functional>

namespace vecamera::device {

/// Asked often in long work; true ends it. May be empty.
using CancellationCheck = std::function<bool()>;

}  // namespace vecamera::device
