// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_IPC_SOCKETS_H_
#define PLATFORM_LINUX_TESTS_IPC_SOCKETS_H_

#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "platform/linux/common/unix-socket.h"
#include "platform/linux/rpc-port/frame-reader.h"

namespace platform::test {

inline std::pair<UniqueFd, UniqueFd> SocketPair() {
  int ends[2] = {-1, -1};
  socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends);
  return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

// Returns a frame of `size` equal bytes.
inline std::vector<uint8_t> FrameOf(uint32_t size, uint8_t value) {
  std::vector<uint8_t> frame(sizeof(size) + size, value);
  std::memcpy(frame.data(), &size, sizeof(size));
  return frame;
}

// Puts bytes into a reader, as if they were received.
inline void Put(const std::vector<uint8_t>& bytes, rpc::FrameReader* reader) {
  for (size_t done = 0; done < bytes.size();) {
    const auto room = reader->PrepareWrite();
    const size_t count = std::min(room.size, bytes.size() - done);
    std::memcpy(room.data, bytes.data() + done, count);
    reader->CommitWrite(count);
    done += count;
  }
}

}  // namespace platform::test

#endif
