#pragma once

#include <filesystem>

#include "device/foundation/files/Descriptor.h"

/// Files that are read or written as a whole. Any thread.
namespace vecamera::device::foundation {

/// The contents of the regular file. The error is `EFBIG` where it holds more bytes.
FileResult<Data> readFile(const std::filesystem::path& path, std::size_t maxBytes = unlimitedBytes);

/// Puts a file of mode 0600 with the contents in the place of the path, on the disk before this
/// returns. Nobody sees it half-written, and a failed write leaves nothing behind. A link at the
/// path is replaced, not followed.
FileResult<void> replaceFile(const std::filesystem::path& path, const Data& contents);

}  // namespace vecamera::device::foundation
