#pragma once

#include <concepts>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

namespace vecamera::device {

/// An error to return as a `Result`: `return Failure(error);`.
template <class E>
struct Failure {
  E error;
};
template <class E>
Failure(E) -> Failure<E>;

/// A value, or the error for which there is none. Every room of the device has its own type of
/// errors, and an alias of this one with it. True means success, in every folder.
///
/// Values and errors are owned. Reading the one that is not there is a bug of the caller. As safe
/// to use on several threads as what it holds.
template <class T, class E>
class [[nodiscard]] Result {
 public:
  template <class U = T>
  requires std::constructible_from<T, U> &&
      (!std::same_as<std::remove_cvref_t<U>, Result>)Result(U&& value)
      : held_(std::in_place_index<0>, std::forward<U>(value)) {}
  template <class F>
  requires std::constructible_from<E, F> Result(Failure<F> failure)
      : held_(std::in_place_index<1>, std::move(failure.error)) {}

  explicit operator bool() const { return held_.index() == 0; }

  T& operator*() & { return *std::get_if<0>(&held_); }
  const T& operator*() const& { return *std::get_if<0>(&held_); }
  T&& operator*() && { return std::move(*std::get_if<0>(&held_)); }
  T* operator->() { return std::get_if<0>(&held_); }
  const T* operator->() const { return std::get_if<0>(&held_); }

  E& error() & { return *std::get_if<1>(&held_); }
  const E& error() const& { return *std::get_if<1>(&held_); }
  E&& error() && { return std::move(*std::get_if<1>(&held_)); }
  /// The error as a failure, to be returned as a result of another type.
  Failure<E> failure() && { return {std::move(*this).error()}; }
  Failure<E> failure() const& { return {error()}; }

  /// The value where there is one, for callers to whom every error is the same.
  std::optional<T> value() && {
    if (!*this) return std::nullopt;
    return std::move(**this);
  }

 private:
  std::variant<T, E> held_;
};

/// Success without a value, or an error.
template <class E>
class [[nodiscard]] Result<void, E> {
 public:
  Result() = default;
  template <class F>
  requires std::constructible_from<E, F> Result(Failure<F> failure)
      : error_(std::in_place, std::move(failure.error)) {}

  explicit operator bool() const { return !error_; }

  const E& error() const& { return *error_; }
  E&& error() && { return std::move(*error_); }
  Failure<E> failure() && { return {std::move(*error_)}; }
  Failure<E> failure() const& { return {*error_}; }

 private:
  std::optional<E> error_;
};

}  // namespace vecamera::device
