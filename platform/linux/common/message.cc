// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/message.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "platform/linux/common/bytes.h"

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;

// Waits until the socket is writable. Returns false with errno set at the deadline.
bool WaitWritable(int socket_fd, Clock::time_point deadline) {
  for (;;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd entry{socket_fd, POLLOUT, 0};
    const int ready = poll(&entry, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
    if (ready > 0) return true;
    if (ready < 0 && errno == EINTR) continue;
    if (ready == 0) errno = ETIMEDOUT;
    return false;
  }
}

}  // namespace

bool SendMessage(int socket_fd, const std::vector<uint8_t>& message,
                 std::chrono::milliseconds timeout) {
  if (message.empty() || message.size() > kMaxMessageSize) {
    errno = EMSGSIZE;
    return false;
  }
  std::vector<uint8_t> frame;
  frame.reserve(message.size() + 4);
  AppendLittleEndian(static_cast<uint32_t>(message.size()), &frame);
  frame.insert(frame.end(), message.begin(), message.end());

  const Clock::time_point deadline = Clock::now() + timeout;
  for (size_t sent = 0; sent < frame.size();) {
    const ssize_t count =
        send(socket_fd, frame.data() + sent, frame.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count >= 0) {
      sent += static_cast<size_t>(count);
    } else if (errno == EAGAIN) {
      if (!WaitWritable(socket_fd, deadline)) return false;
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

void Acknowledge(int socket_fd) {
  const uint8_t byte = 1;
  send(socket_fd, &byte, sizeof byte, MSG_NOSIGNAL | MSG_DONTWAIT);
}

MessageReader::State MessageReader::Fill(int socket_fd, uint8_t* target, size_t size,
                                         size_t* done) {
  while (*done < size) {
    const ssize_t count = recv(socket_fd, target + *done, size - *done, MSG_DONTWAIT);
    if (count > 0) {
      *done += static_cast<size_t>(count);
    } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
      return State::kBroken;
    } else if (errno == EAGAIN) {
      return State::kPartial;
    }
  }
  return State::kComplete;
}

MessageReader::State MessageReader::ReadFrom(int socket_fd) {
  if (bytes_.empty()) {
    const State state = Fill(socket_fd, header_, sizeof header_, &header_size_);
    if (state != State::kComplete) return state;
    const size_t size = ReadLittleEndian(header_);
    if (size == 0 || size > kMaxMessageSize) return State::kBroken;
    bytes_.resize(size);
  }
  return Fill(socket_fd, bytes_.data(), bytes_.size(), &size_);
}

}  // namespace platform
