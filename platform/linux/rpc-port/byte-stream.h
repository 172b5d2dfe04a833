// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_BYTE_STREAM_H_
#define PLATFORM_LINUX_RPC_PORT_BYTE_STREAM_H_

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "platform/linux/common/bytes.h"
#include "platform/linux/common/unix-socket.h"

namespace platform::rpc {

// A connected stream socket. Sending never blocks: bytes that the socket does not accept are queued
// here. Thread-safe, but only one thread at a time may receive. The descriptor stays open for the
// life of the object, so that no thread can use a reused descriptor.
class ByteStream {
 public:
  // With more bytes queued, sending fails. The last send before that may exceed the limit.
  static constexpr size_t kMaxQueued = 16 * 1024 * 1024;

  // Not a process id: accepts bytes from every process that has the other end.
  static constexpr pid_t kAnySender = -1;

  // Accepts bytes from the sender only. Requires EnableSenderCredentials() unless kAnySender.
  explicit ByteStream(UniqueFd fd, pid_t sender = kAnySender)
      : fd_(std::move(fd)), sender_(sender) {}

  int fd() const { return fd_.Get(); }

  enum class SendResult {
    kSent,          // the queue is empty
    kQueued,        // appended to the queue, whose flush is arranged already
    kQueueStarted,  // queued; the caller must Flush() when the socket is writable
    kFull,          // nothing was sent or queued
    kBroken         // the peer disconnected or the stream was shut down
  };
  // Sends or queues all bytes or none. Bytes of concurrent calls are not mixed.
  SendResult Send(ByteView bytes);
  // Sends queued bytes until the socket would block. Returns kSent, kQueued or kBroken.
  SendResult Flush();
  bool HasQueued() const;

  enum class ReceiveResult {
    kData,
    kWouldBlock,
    kClosed,
    kOtherSender  // bytes from another process were received and discarded
  };
  // Receives with one system call. Blocks only on a blocking descriptor without MSG_DONTWAIT in
  // `flags`.
  ReceiveResult Receive(uint8_t* data, size_t size, int flags, size_t* received);

  // Shuts down both directions.
  void Shutdown();
  bool IsShutDown() const { return is_shut_down_; }

 private:
  // Returns the number of bytes sent, less than `size` when the socket would block, or -1 on error.
  ssize_t SendSome(const uint8_t* data, size_t size);

  ssize_t ReceiveFromSender(uint8_t* data, size_t size, int flags, pid_t* sender);

  const UniqueFd fd_;
  const pid_t sender_;
  std::atomic<bool> is_shut_down_{false};
  mutable std::mutex mutex_;
  // Guarded by mutex_. Bytes before queue_begin_ were sent.
  std::vector<uint8_t> queue_;
  size_t queue_begin_ = 0;
};

}  // namespace platform::rpc

#endif
