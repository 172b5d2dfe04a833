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

// Bytes over a connected stream socket: sends without ever blocking, what the socket does not take
// waits here. Safe from any thread, but only one thread at a time may receive. The descriptor stays
// open as long as the object lives, so that no thread can meet a reused one.
class ByteStream {
 public:
  // Once this many bytes wait, nothing more is taken. At most one send goes beyond it.
  static constexpr size_t kMaxQueued = 16 * 1024 * 1024;

  // No process has this id: bytes are taken from every process that has the other end.
  static constexpr pid_t kAnySender = -1;

  // Takes bytes from one process alone, for which the descriptor has to name senders.
  explicit ByteStream(UniqueFd fd, pid_t sender = kAnySender)
      : fd_(std::move(fd)), sender_(sender) {}

  int fd() const { return fd_.Get(); }

  enum class SendResult {
    kSent,          // nothing waits
    kQueued,        // something waits; who saw it begin takes care of it
    kQueueStarted,  // something waits from now on: Flush() when the socket is writable
    kFull,          // too much waits already, nothing was taken
    kBroken         // the peer is gone or the stream was shut down
  };
  // All of the bytes or none, in one piece of the stream.
  SendResult Send(ByteView bytes);
  // Sends what waits, as far as the socket takes it: kSent, kQueued or kBroken.
  SendResult Flush();
  bool HasQueued() const;

  enum class ReceiveResult {
    kData,
    kWouldBlock,
    kClosed,
    kOtherSender  // the bytes are lost
  };
  // One system call. Blocks only on a blocking descriptor without MSG_DONTWAIT among the flags.
  ReceiveResult Receive(uint8_t* data, size_t size, int flags, size_t* received);

  // Ends both directions; both sides see the end of the stream.
  void Shutdown();
  bool IsShutDown() const { return is_shut_down_; }

 private:
  // How many bytes the socket took; less than all when it is full. Negative when broken.
  ssize_t SendSome(const uint8_t* data, size_t size);

  ssize_t ReceiveFromSender(uint8_t* data, size_t size, int flags, pid_t* sender);

  const UniqueFd fd_;
  const pid_t sender_;
  std::atomic<bool> is_shut_down_{false};
  mutable std::mutex mutex_;
  // Guarded by mutex_: what waits is behind queue_begin_.
  std::vector<uint8_t> queue_;
  size_t queue_begin_ = 0;
};

}  // namespace platform::rpc

#endif
