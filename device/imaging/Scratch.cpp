#include "device/imaging/Scratch.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace vecamera::device {

class ScratchPool {
 public:
  /// Null once the thread is on its way out.
  static ScratchPool* ofThisThread() {
    thread_local bool ended = false;
    thread_local struct Holder {
      ScratchPool pool;
      ~Holder() { ended = true; }
    } holder;
    return ended ? nullptr : &holder.pool;
  }

  /// The smallest block that is large enough and not far too large, or none.
  Scratch take(std::size_t size) {
    auto best = blocks_.end();
    for (auto block = blocks_.begin(); block != blocks_.end(); ++block)
      if (block->size() >= size && block->size() / 4 <= size &&
          (best == blocks_.end() || block->size() < best->size()))
        best = block;
    if (best == blocks_.end()) return {};
    Scratch found = std::move(*best);
    std::swap(*best, blocks_.back());
    blocks_.pop_back();
    keptBytes_ -= found.size();
    return found;
  }

  void give(Scratch block) {
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

  ~ScratchPool() {
    for (Scratch& block : blocks_) discard(std::move(block));
  }

 private:
  /// Past the pool: a block's own destructor would give it back.
  static void discard(Scratch block) {
    block.memory_.reset();
    block.size_ = 0;
  }

  std::vector<Scratch> blocks_;
  std::size_t keptBytes_ = 0;
};

void Scratch::Free::operator()(std::uint8_t* memory) const {
  std::free(memory);
}

Scratch::Scratch(std::size_t size) {
  constexpr std::size_t alignment = 64;
  if (size > SIZE_MAX - alignment) return;
  const std::size_t rounded = std::max(alignment, (size + alignment - 1) / alignment * alignment);
  if (auto* pool = ScratchPool::ofThisThread()) *this = pool->take(rounded);
  if (memory_) return;
  memory_.reset(static_cast<std::uint8_t*>(std::aligned_alloc(alignment, rounded)));
  size_ = memory_ ? rounded : 0;
}

Scratch::~Scratch() {
  if (!memory_) return;
  if (auto* pool = ScratchPool::ofThisThread()) pool->give(std::move(*this));
}

}  // namespace vecamera::device
