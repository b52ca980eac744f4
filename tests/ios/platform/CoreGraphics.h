#pragma once

#include <cstddef>

/// What of Core Graphics lives; the references are plain C and counted by hand.
namespace vecamera::ios {

std::size_t livingGraphics();

}  // namespace vecamera::ios
