#pragma once

#include <string>
#include <utility>
#include <variant>

namespace vecamera::device::photos {

/// Why the library on disk did not do what it was asked for.
struct StoreError {
  enum class Kind {
    /// The bytes are nothing that the library takes.
    invalidResource,
    /// An identifier that is taken already, or that no asset can have.
    identifierRefused,
    unknownAsset,
    /// The asset is listed, but its file is missing or damaged.
    unreadable,
    /// The database or the file system failed.
    storage,
  };
  Kind kind = Kind::storage;
  /// For people, without a full stop.
  std::string text;
};

/// A value, or the reason why there is none.
template <class T>
class [[nodiscard]] StoreOutcome {
 public:
  StoreOutcome(T value) : held_(std::move(value)) {}
  StoreOutcome(StoreError error) : held_(std::move(error)) {}

  explicit operator bool() const { return std::holds_alternative<T>(held_); }
  /// Only where there is a value.
  T& operator*() & { return *std::get_if<T>(&held_); }
  const T& operator*() const& { return *std::get_if<T>(&held_); }
  T operator*() && { return std::move(*std::get_if<T>(&held_)); }
  T* operator->() { return std::get_if<T>(&held_); }
  const T* operator->() const { return std::get_if<T>(&held_); }
  /// Only where there is no value.
  const StoreError& error() const { return *std::get_if<StoreError>(&held_); }

 private:
  std::variant<T, StoreError> held_;
};

}  // namespace vecamera::device::photos
