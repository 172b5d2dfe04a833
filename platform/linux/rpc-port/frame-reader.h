// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_FRAME_READER_H_
#define PLATFORM_LINUX_RPC_PORT_FRAME_READER_H_

#include <cstddef>
#include <cstdint>
#include "platform/linux/common/bytes.h"
#include "platform/linux/rpc-port/buffer.h"

namespace platform::rpc {

// A frame is its length (32 bits, the machine's byte order, never 0) and that many bytes.
constexpr size_t kFrameLengthSize = sizeof(uint32_t);
// The longest that a main loop receives, reads and answers in a few ms.
constexpr size_t kMaxFrame = 4 * 1024 * 1024;

// Cuts a stream of bytes into frames. Knows nothing of sockets: bytes are put into PrepareWrite()
// and reported with CommitWrite().
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
  // Where the next bytes go: at least as many as Missing(). Ends the life of frames handed out.
  Space PrepareWrite();
  void CommitWrite(size_t count) { end_ += count; }

  // What the front of the stream is.
  State Front() const;
  // The complete frame at the front, without its length. Valid until PrepareWrite() is called.
  ByteView Frame() const;
  void Pop();
  // Pops the frame and hands it over with the buffer that it lies in, without a copy. Only possible
  // when nothing follows it there: else there is no buffer, and nothing happens.
  Buffer TakeFrame();

  // Gives the buffer of an empty reader back until there is something to put in.
  void ReleaseBuffer();

  // How many bytes the length, or then the frame, at the front lacks. Front() must be incomplete.
  size_t Missing() const;
  bool IsEmpty() const { return begin_ == end_; }
  // Frames popped so far.
  uint64_t popped() const { return popped_; }

 private:
  // What follows from the frame at the front being taken out.
  void CountPopped(size_t size);
  size_t Available() const { return end_ - begin_; }
  size_t Length() const;
  // Length and bytes of the frame at the front, as far as known.
  size_t Needed() const;

  size_t max_frame_;
  Buffer buffer_;
  // What the next buffer holds: frames are often as long as those before.
  size_t next_size_;
  size_t begin_ = 0;
  size_t end_ = 0;
  uint64_t popped_ = 0;
};

}  // namespace platform::rpc

#endif
