#pragma once

#include <memory>
#include <utility>

namespace vecamera {

/// A shared reference that one executor may replace while another reads it. Each load sees one
/// whole value; the order between loads and stores comes from posting between executors.
template <class T>
class SharedSlot {
 public:
  std::shared_ptr<T> load() const { return std::atomic_load(&held_); }
  void store(std::shared_ptr<T> value) { std::atomic_store(&held_, std::move(value)); }
  /// Stores the value unless the slot holds one; gives what it holds now.
  std::shared_ptr<T> storeIfEmpty(std::shared_ptr<T> value) {
    std::shared_ptr<T> held;
    return std::atomic_compare_exchange_strong(&held_, &held, value) ? value : held;
  }

 private:
  // The free functions on a plain pointer, and not std::atomic of one: how the latter
  // synchronizes in the supported standard library is invisible to the thread sanitizer.
  std::shared_ptr<T> held_;
};

}  // namespace vecamera
