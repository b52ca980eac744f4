#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace vecamera::device::imaging {

/// Bytes that are read and belong to somebody else.
using Bytes = std::span<const std::uint8_t>;

/// The bytes of an encoded picture, or of a block inside of one.
using EncodedBytes = std::vector<std::uint8_t>;

}  // namespace vecamera::device::imaging
