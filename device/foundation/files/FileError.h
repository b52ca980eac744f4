#pragma once

#include <cerrno>
#include <string>
#include <system_error>

#include "device/base/Result.h"

namespace vecamera::device::foundation {

/// Why the file system did not do what it was asked for.
struct FileError {
  /// An `errno` value.
  int code = 0;
  /// For people, in English, without a full stop.
  std::string text;
};

template <class T>
using FileResult = Result<T, FileError>;

/// The failure of the system call before, or of that `errno` value.
inline Failure<FileError> fileFailure(int code = errno) {
  return Failure(FileError{code, std::generic_category().message(code)});
}

}  // namespace vecamera::device::foundation
