// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/buffer.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>

namespace platform::rpc {
namespace {

// Smaller buffers cost the allocator little; larger ones are rare and would keep much memory.
constexpr size_t kMinPooledSize = 16 * 1024;
constexpr size_t kMaxPooledSize = 256 * 1024;
// Sizes are multiples of this, so that a pooled buffer fits the next parcel too.
constexpr size_t kSizeStep = 16 * 1024;
// A pooled buffer is not used for a request that is much smaller: all its pages are resident.
constexpr size_t kMaxSizeRatio = 4;

struct Block {
  std::unique_ptr<uint8_t[]> bytes;
  size_t size = 0;
};

// Keeps at most 4 blocks, the number that one command needs at the same time. Thread-safe.
class BufferPool {
 public:
  // Never destroyed, because buffers are returned until the process has exited.
  static BufferPool& Get() {
    static BufferPool& pool = *new BufferPool;
    return pool;
  }

  // Returns the smallest block that fits, or an empty one.
  Block Take(size_t size) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Block* best = nullptr;
    for (Block& block : blocks_) {
      const bool fits = block.size >= size && block.size / kMaxSizeRatio <= size;
      if (fits && (best == nullptr || block.size < best->size)) best = &block;
    }
    return best == nullptr ? Block{} : std::exchange(*best, {});
  }

  // Replaces the smallest block, unless that is larger.
  void Give(Block block) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Block& smallest =
        *std::min_element(blocks_.begin(), blocks_.end(),
                          [](const Block& a, const Block& b) { return a.size < b.size; });
    if (smallest.size < block.size) smallest = std::move(block);
  }

 private:
  std::mutex mutex_;
  std::array<Block, 4> blocks_;
};

}  // namespace

Buffer::Buffer(size_t size) {
  if (size >= kMinPooledSize && size <= kMaxPooledSize) {
    size = (size + kSizeStep - 1) / kSizeStep * kSizeStep;
    Block pooled = BufferPool::Get().Take(size);
    bytes_ = std::move(pooled.bytes);
    size_ = pooled.size;
  }
  if (bytes_ != nullptr) return;
  bytes_.reset(new uint8_t[size]);
  size_ = size;
}

Buffer& Buffer::operator=(Buffer&& other) noexcept {
  std::swap(bytes_, other.bytes_);
  std::swap(size_, other.size_);
  return *this;
}

Buffer::~Buffer() {
  if (size_ >= kMinPooledSize && size_ <= kMaxPooledSize) {
    BufferPool::Get().Give({std::move(bytes_), size_});
  }
}

}  // namespace platform::rpc
