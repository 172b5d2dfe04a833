// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_FRAME_READER_H_
#define PLATFORM_LINUX_RPC_PORT_FRAME_READER_H_

#include <cstddef>
#include <cstdint>
#include "platform/linux/common/bytes.h"
#include "platform/linux/rpc-port/buffer.h"

namespace platform::rpc {

// A frame is a length (32 bits, the machine's byte order, never 0) and that many bytes.
constexpr size_t kFrameLengthSize = sizeof(uint32_t);
// A main loop receives, decodes and answers a frame of this size in a few milliseconds.
constexpr size_t kMaxFrame = 4 * 1024 * 1024;

// Splits a stream of bytes into frames. Independent of sockets: the caller writes received bytes to
// PrepareWrite() and reports them with CommitWrite().
class FrameReader {
 public:
  enum class State { kIncomplete, kComplete, kMalformed };

  // Frames longer than `max_frame` are malformed; nothing is allocated for them.
  explicit FrameReader(size_t max_frame);
  void SetMaxFrame(size_t max_frame) { max_frame_ = max_frame; }

  struct Space {
    uint8_t* data;
    size_t size;
  };
  // Returns the space for the next bytes, at least Missing(). Invalidates views of frames.
  Space PrepareWrite();
  void CommitWrite(size_t count) { end_ += count; }

  // The state of the frame at the front.
  State Front() const;
  // The complete frame at the front, without its length. Valid until PrepareWrite() is called.
  ByteView Frame() const;
  void Pop();
  // Pops the frame and returns the buffer that holds it, without a copy. Returns an empty buffer,
  // and pops nothing, when other bytes follow the frame in the buffer.
  Buffer TakeFrame();

  // Releases the buffer until the next PrepareWrite(). The reader must be empty.
  void ReleaseBuffer();

  // How many bytes are missing of the length, or then of the frame, at the front. Front() must be
  // kIncomplete.
  size_t Missing() const;
  bool IsEmpty() const { return begin_ == end_; }
  // Frames popped so far.
  uint64_t popped() const { return popped_; }

 private:
  // Updates counters after a frame was popped.
  void CountPopped(size_t size);
  size_t Available() const { return end_ - begin_; }
  size_t Length() const;
  // The size of length and frame at the front; of the length alone while that is incomplete.
  size_t Needed() const;

  size_t max_frame_;
  Buffer buffer_;
  // The size of the next buffer: frames are often as long as those before.
  size_t next_size_;
  size_t begin_ = 0;
  size_t end_ = 0;
  uint64_t popped_ = 0;
};

}  // namespace platform::rpc

#endif
