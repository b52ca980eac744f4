#pragma once

#include <string>

#include "device/base/Result.h"

namespace vecamera::device::photos {

/// Why the library on disk did not do what it was asked for.
struct StoreError {
  enum class Kind {
    /// The bytes are nothing that the library takes.
    invalidResource,
    /// An identifier that is taken already, or that no asset can have.
    identifierRefused,
    unknownAsset,
    /// The asset is listed, but its file is missing or damaged; or the bytes of a new one cannot be
    /// read.
    unreadable,
    /// The database or the file system failed.
    storage,
  };
  Kind kind = Kind::storage;
  /// For people, without a full stop.
  std::string message;
};

template <class T>
using StoreResult = Result<T, StoreError>;

inline Failure<StoreError> storeFailure(StoreError::Kind kind, std::string message) {
  return Failure(StoreError{kind, std::move(message)});
}

}  // namespace vecamera::device::photos
