// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/byte-stream.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace platform::rpc {

ssize_t ByteStream::SendSome(const uint8_t* data, size_t size) {
  size_t done = 0;
  while (done < size) {
    const ssize_t count = send(fd(), data + done, size - done, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count >= 0) {
      done += static_cast<size_t>(count);
    } else if (errno == EAGAIN) {
      break;
    } else if (errno != EINTR) {
      return -1;
    }
  }
  return static_cast<ssize_t>(done);
}

ByteStream::SendResult ByteStream::Send(ByteView bytes) {
  if (is_shut_down_) return SendResult::kBroken;
  const std::lock_guard<std::mutex> lock(mutex_);
  const bool was_queued = !queue_.empty();
  if (was_queued) {
    if (queue_.size() - queue_begin_ > kMaxQueued) return SendResult::kFull;
    if (queue_begin_ > kMaxQueued) {
      queue_.erase(queue_.begin(), queue_.begin() + static_cast<ptrdiff_t>(queue_begin_));
      queue_begin_ = 0;
    }
    queue_.insert(queue_.end(), bytes.data, bytes.data + bytes.size);
    return SendResult::kQueued;
  }
  const ssize_t done = SendSome(bytes.data, bytes.size);
  if (done < 0) return SendResult::kBroken;
  if (static_cast<size_t>(done) == bytes.size) return SendResult::kSent;
  queue_.assign(bytes.data + done, bytes.data + bytes.size);
  return SendResult::kQueueStarted;
}

ByteStream::SendResult ByteStream::Flush() {
  const std::lock_guard<std::mutex> lock(mutex_);
  const ssize_t done = SendSome(queue_.data() + queue_begin_, queue_.size() - queue_begin_);
  if (done < 0 || is_shut_down_) return SendResult::kBroken;
  queue_begin_ += static_cast<size_t>(done);
  if (queue_begin_ < queue_.size()) return SendResult::kQueued;
  std::vector<uint8_t>().swap(queue_);
  queue_begin_ = 0;
  return SendResult::kSent;
}

bool ByteStream::HasQueued() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return !queue_.empty();
}

// The kernel does not return bytes of two senders with one call.
ssize_t ByteStream::ReceiveFromSender(uint8_t* data, size_t size, int flags, pid_t* sender) {
  iovec range = {data, size};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
  msghdr message{};
  message.msg_iov = &range;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  const ssize_t count = recvmsg(fd(), &message, flags | MSG_CMSG_CLOEXEC);
  *sender = 0;
  const cmsghdr* header = count > 0 ? CMSG_FIRSTHDR(&message) : nullptr;
  if (header != nullptr && header->cmsg_level == SOL_SOCKET &&
      header->cmsg_type == SCM_CREDENTIALS) {
    ucred credentials;
    std::memcpy(&credentials, CMSG_DATA(header), sizeof credentials);
    *sender = credentials.pid;
  }
  return count;
}

ByteStream::ReceiveResult ByteStream::Receive(uint8_t* data, size_t size, int flags,
                                              size_t* received) {
  pid_t sender = sender_;
  const ssize_t count = sender_ == kAnySender ? recv(fd(), data, size, flags)
                                              : ReceiveFromSender(data, size, flags, &sender);
  if (count > 0) {
    if (sender != sender_) return ReceiveResult::kOtherSender;
    *received = static_cast<size_t>(count);
    return ReceiveResult::kData;
  }
  const bool would_block = count < 0 && (errno == EAGAIN || errno == EINTR);
  return would_block ? ReceiveResult::kWouldBlock : ReceiveResult::kClosed;
}

void ByteStream::Shutdown() {
  is_shut_down_ = true;
  shutdown(fd(), SHUT_RDWR);
}

}  // namespace platform::rpc
