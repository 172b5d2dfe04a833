// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_HANDSHAKE_H_
#define PLATFORM_LINUX_RPC_PORT_HANDSHAKE_H_

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/common/bytes.h"

namespace platform::rpc {

// The first frame in each direction of a connection. A proxy sends a hello on its main connection.
// The stub accepts it with a token. The proxy then sends a hello with that token on a second
// connection, which becomes the callback port of the client.

// Longer frames are rejected before anything is allocated for them.
constexpr size_t kMaxHandshakeFrame = 512;

// How long each side waits for a frame of the other.
constexpr std::chrono::seconds kHandshakeTimeout{10};

using Token = std::array<uint8_t, 16>;

// Returns a random token. Throws std::system_error when the kernel has no entropy.
Token NewToken();

struct Hello {
  bool is_callback = false;
  Token token{};  // of the main connection; zero for a main connection itself
};

struct HandshakeReply {
  bool is_accepted = false;
  Token token{};      // for the hello of the callback connection
  std::string cause;  // of a rejection
};

// Return whole frames, with the length in front. A long cause is cut.
std::vector<uint8_t> EncodeHello(const Hello& hello);
std::vector<uint8_t> EncodeReply(const HandshakeReply& reply);

// Take a frame without its length. Empty when it is malformed.
std::optional<Hello> DecodeHello(ByteView frame);
std::optional<HandshakeReply> DecodeReply(ByteView frame);

}  // namespace platform::rpc

#endif
