#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "device/base/Release.h"

namespace vecamera::device::imaging {

/// Uninitialized memory for one piece of work. It goes back to a pool of the thread that destroys
/// it, so that the next picture on that thread finds its pages mapped already. The pool keeps no
/// more than 16 MB and ends with its thread.
class ScratchBuffer {
 public:
  ScratchBuffer() = default;
  /// Aligned to 64 bytes; null where the memory cannot be had.
  explicit ScratchBuffer(std::size_t size);
  ~ScratchBuffer();
  ScratchBuffer(ScratchBuffer&& other) noexcept { swap(other); }
  ScratchBuffer& operator=(ScratchBuffer&& other) noexcept {
    swap(other);
    return *this;
  }

  std::uint8_t* data() const { return memory_.get(); }
  std::size_t size() const { return size_; }
  explicit operator bool() const { return memory_ != nullptr; }

 private:
  friend class ScratchBufferPool;

  void swap(ScratchBuffer& other) noexcept {
    std::swap(memory_, other.memory_);
    std::swap(size_, other.size_);
  }

  std::unique_ptr<std::uint8_t[], Release<std::free>> memory_;
  std::size_t size_ = 0;
};

}  // namespace vecamera::device::imaging
