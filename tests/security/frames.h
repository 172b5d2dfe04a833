// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TESTS_SECURITY_FRAMES_H_
#define QOR_TESTS_SECURITY_FRAMES_H_

#include <sys/socket.h>

#include <cstdint>
#include <vector>

#include "platform/linux/common/unix-socket.h"
#include "platform/linux/rpc-port/parcel.h"
#include "wire.h"

namespace security {

// Frames of a port over a blocking socket, without the checks of the platform's own port.

// These return false at the end of the connection.
inline bool SendAll(const platform::UniqueFd& fd, const uint8_t* data, size_t size) {
  for (size_t done = 0; done < size;) {
    const ssize_t count = send(fd.Get(), data + done, size - done, MSG_NOSIGNAL);
    if (count <= 0) return false;
    done += static_cast<size_t>(count);
  }
  return true;
}

inline bool Send(const platform::UniqueFd& fd, const std::vector<uint8_t>& bytes) {
  return SendAll(fd, bytes.data(), bytes.size());
}

inline bool Send(const platform::UniqueFd& fd, const qor::internal::wire::Parcel& parcel) {
  const auto frame = static_cast<platform::rpc::Parcel*>(parcel.get())->Frame();
  return SendAll(fd, frame.data, frame.size);
}

inline bool ReceiveAll(const platform::UniqueFd& fd, void* data, size_t size) {
  return size == 0 || recv(fd.Get(), data, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

// The next frame without its length; empty at the end of the connection.
inline std::vector<uint8_t> ReceiveFrame(const platform::UniqueFd& fd) {
  uint32_t length = 0;
  if (!ReceiveAll(fd, &length, sizeof length)) return {};
  std::vector<uint8_t> frame(length);
  if (!ReceiveAll(fd, frame.data(), frame.size())) return {};
  return frame;
}

}  // namespace security

#endif
