#include "device/imaging/base/ScratchBuffer.h"

#include <algorithm>
#include <vector>

namespace vecamera::device::imaging {

class ScratchBufferPool {
 public:
  /// Null while the thread ends.
  static ScratchBufferPool* ofThisThread() {
    thread_local bool ended = false;
    thread_local struct Holder {
      ScratchBufferPool pool;
      ~Holder() { ended = true; }
    } holder;
    return ended ? nullptr : &holder.pool;
  }

  /// The smallest block that is large enough and not far too large, or none.
  ScratchBuffer take(std::size_t size) {
    auto best = blocks_.end();
    for (auto block = blocks_.begin(); block != blocks_.end(); ++block)
      if (block->size() >= size && block->size() / 4 <= size &&
          (best == blocks_.end() || block->size() < best->size()))
        best = block;
    if (best == blocks_.end()) return {};
    ScratchBuffer found = std::move(*best);
    std::swap(*best, blocks_.back());
    blocks_.pop_back();
    keptBytes_ -= found.size();
    return found;
  }

  void give(ScratchBuffer block) {
    constexpr std::size_t maxKeptBytes = 16u << 20;
    constexpr std::size_t maxBlocks = 24;
    if (block.size() > maxKeptBytes) return discard(std::move(block));
    keptBytes_ += block.size();
    blocks_.push_back(std::move(block));
    while (keptBytes_ > maxKeptBytes || blocks_.size() > maxBlocks) {
      keptBytes_ -= blocks_.front().size();
      discard(std::move(blocks_.front()));
      blocks_.erase(blocks_.begin());
    }
  }

  ~ScratchBufferPool() {
    for (ScratchBuffer& block : blocks_) discard(std::move(block));
  }

 private:
  /// Past the pool: a block's own destructor would give it back.
  static void discard(ScratchBuffer block) {
    block.memory_.reset();
    block.size_ = 0;
  }

  std::vector<ScratchBuffer> blocks_;
  std::size_t keptBytes_ = 0;
};

ScratchBuffer::ScratchBuffer(std::size_t size) {
  constexpr std::size_t alignment = 64;
  if (size > SIZE_MAX - alignment) return;
  const std::size_t rounded = std::max(alignment, (size + alignment - 1) / alignment * alignment);
  if (auto* pool = ScratchBufferPool::ofThisThread()) *this = pool->take(rounded);
  if (memory_) return;
  memory_.reset(static_cast<std::uint8_t*>(std::aligned_alloc(alignment, rounded)));
  size_ = memory_ ? rounded : 0;
}

ScratchBuffer::~ScratchBuffer() {
  if (!memory_) return;
  if (auto* pool = ScratchBufferPool::ofThisThread()) pool->give(std::move(*this));
}

}  // namespace vecamera::device::imaging
