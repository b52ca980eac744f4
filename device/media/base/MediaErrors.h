#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

#include "VECamera/platform/Foundation.h"
#include "device/base/Result.h"

namespace vecamera::device::media {

/// Errors of this room are the platform's own, of `AVFoundationErrorDomain`.
template <class T>
using MediaResult = Result<T, NSError>;

inline constexpr std::string_view AVFoundationErrorDomain = "AVFoundationErrorDomain";

/// The platform's codes, as far as the device gives them.
enum class AVError : std::int64_t {
  unknown = -11800,
  outOfMemory = -11801,
  diskFull = -11807,
  exportFailed = -11820,
  decodeFailed = -11821,
  invalidSourceMedia = -11822,
  fileAlreadyExists = -11823,
  fileFormatNotRecognized = -11828,
  fileFailedToParse = -11829,
  contentIsProtected = -11831,
  operationCancelled = -11878,
};

/// An error for any `MediaResult`, with a description.
Failure<NSError> mediaFailure(AVError code, std::string description);
/// For what an interface without exceptions must not let through.
Failure<NSError> mediaFailure(const std::exception& thrown);
bool isMediaError(const NSError& error, AVError code);

}  // namespace vecamera::device::media
