// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FUZZ_WIRE_BYTES_H_
#define TESTS_FUZZ_WIRE_BYTES_H_

#include <sys/socket.h>

#include <string>

#include "platform/linux/common/unix-socket.h"
#include "platform/linux/rpc-port/parcel.h"

namespace fuzz {

// A valid frame with a valid parcel that contains the bytes.
inline std::string FrameWith(const std::string& values) {
  platform::rpc::Parcel parcel;
  parcel.Write(values.data(), values.size());
  const auto frame = parcel.Frame();
  return {frame.data, frame.data + frame.size};
}

// Sends as many bytes as the socket accepts without blocking; nothing through an empty descriptor.
inline void Send(const platform::UniqueFd& socket, const std::string& bytes) {
  if (socket) send(socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

// Returns the received bytes, at most a few kilobytes.
inline std::string Receive(const platform::UniqueFd& socket) {
  char bytes[4096];
  const ssize_t count = socket ? recv(socket.Get(), bytes, sizeof bytes, MSG_DONTWAIT) : -1;
  return {bytes, count > 0 ? static_cast<size_t>(count) : 0};
}

}  // namespace fuzz

#endif
