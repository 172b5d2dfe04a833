// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "bare-socket-peer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace bench {

namespace {

// Header and field lengths of a command's parcel, beside its texts.
constexpr std::size_t kFramingBytes = 96;
constexpr std::size_t kLargestMessage = 1024 * 1024;

bool SendAll(int socket, const std::vector<char>& bytes, std::size_t size) {
  for (std::size_t done = 0; done < size;) {
    const ssize_t sent = send(socket, bytes.data() + done, size - done, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    done += static_cast<std::size_t>(sent);
  }
  return true;
}

// Receives a whole message, which begins with its size; 0 at the end of the connection.
std::size_t ReceiveAll(int socket, std::vector<char>& bytes) {
  std::size_t done = 0;
  std::size_t size = sizeof size;
  while (done < size) {
    const ssize_t received = recv(socket, bytes.data() + done, bytes.size() - done, 0);
    if (received <= 0) return 0;
    done += static_cast<std::size_t>(received);
    if (done >= sizeof size) std::memcpy(&size, bytes.data(), sizeof size);
  }
  return size;
}

void Echo(int socket) {
  std::vector<char> bytes(kLargestMessage);
  for (;;) {
    const std::size_t size = ReceiveAll(socket, bytes);
    if (size == 0 || !SendAll(socket, bytes, size)) return;
  }
}

}  // namespace

BareSocketPeer::BareSocketPeer() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    throw std::system_error(errno, std::generic_category(), "socketpair");
  }
  socket_ = ends[0];
  echo_ = std::make_unique<ChildProcess>([&ends] {
    close(ends[0]);
    Echo(ends[1]);
  });
  close(ends[1]);
}

BareSocketPeer::~BareSocketPeer() { close(socket_); }

void BareSocketPeer::Measure(std::size_t count, std::size_t payload_bytes,
                             std::vector<double>& samples) {
  const Texts texts(payload_bytes);
  const std::size_t size =
      kFramingBytes + 2 * texts.uuid.size() + texts.request_type.size() + texts.payload.size();
  std::vector<char> bytes(kLargestMessage);
  std::memcpy(bytes.data(), &size, sizeof size);
  Stopwatch watch;
  for (std::size_t i = 0; i < count; ++i) {
    if (!SendAll(socket_, bytes, size) || ReceiveAll(socket_, bytes) != size) {
      throw std::system_error(errno, std::generic_category(), "bare socket");
    }
    samples.push_back(watch.Lap());
  }
}

}  // namespace bench
