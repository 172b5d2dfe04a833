// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/buffer.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>

namespace platform::rpc {
namespace {

// Smaller ones cost the allocator little, larger ones are rare and would hold much.
constexpr size_t kMinPooledSize = 16 * 1024;
constexpr size_t kMaxPooledSize = 256 * 1024;
// Sizes are multiples of this, so that a spare one fits the next parcel too.
constexpr size_t kSizeStep = 16 * 1024;
// Nobody gets one that is so much larger than what was asked for: its pages are in use.
constexpr size_t kMaxSizeRatio = 4;

struct Block {
  std::unique_ptr<uint8_t[]> bytes;
  size_t size = 0;
};

// As many as one command needs at the same time.
class BufferPool {
 public:
  // Never destroyed: buffers come back until the very end of the process.
  static BufferPool& Get() {
    static BufferPool& spares = *new BufferPool;
    return spares;
  }

  // Without bytes when there is none that fits.
  Block Take(size_t size) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Block* best = nullptr;
    for (Block& block : blocks_) {
      const bool fits = block.size >= size && block.size / kMaxSizeRatio <= size;
      if (fits && (best == nullptr || block.size < best->size)) best = &block;
    }
    return best == nullptr ? Block{} : std::exchange(*best, {});
  }

  // The smallest makes room for it.
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
    Block spare = BufferPool::Get().Take(size);
    bytes_ = std::move(spare.bytes);
    size_ = spare.size;
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
