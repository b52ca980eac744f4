#pragma once

#include <type_traits>

namespace vecamera::device {

/// Deletes what a C library made, by the library's function: `std::unique_ptr<T, Release<f>>`. Some
/// functions take the pointer, others its address.
template <auto release>
struct Release {
  template <class T>
  void operator()(T* held) const {
    if constexpr (std::is_invocable_v<decltype(release), T*>)
      release(held);
    else
      release(&held);
  }
};

}  // namespace vecamera::device
