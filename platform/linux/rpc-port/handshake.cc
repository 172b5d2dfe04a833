// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/handshake.h"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "platform/linux/rpc-port/frame-reader.h"

namespace platform::rpc {
namespace {

// Every handshake frame begins with the magic bytes, its kind and a token. The last magic byte is
// the version of the protocol.
constexpr std::array<uint8_t, 4> kMagic = {'R', 'P', 'C', 1};
constexpr size_t kHeaderSize = kMagic.size() + 1 + sizeof(Token);
constexpr size_t kMaxCause = kMaxHandshakeFrame - kHeaderSize;

enum class Kind : uint8_t { kMainHello = 1, kCallbackHello, kAccept, kReject };

std::vector<uint8_t> Encode(Kind kind, const Token& token, const std::string& text) {
  std::vector<uint8_t> frame;
  AppendNative(static_cast<uint32_t>(kHeaderSize + text.size()), &frame);
  frame.insert(frame.end(), kMagic.begin(), kMagic.end());
  frame.push_back(static_cast<uint8_t>(kind));
  frame.insert(frame.end(), token.begin(), token.end());
  frame.insert(frame.end(), text.begin(), text.end());
  return frame;
}

bool HasHeader(ByteView frame) {
  return frame.size >= kHeaderSize && std::equal(kMagic.begin(), kMagic.end(), frame.data);
}

Kind KindOf(ByteView frame) { return static_cast<Kind>(frame.data[kMagic.size()]); }

Token TokenOf(ByteView frame) {
  Token token;
  std::memcpy(token.data(), frame.data + kMagic.size() + 1, token.size());
  return token;
}

std::string TextOf(ByteView frame) {
  return std::string(frame.data + kHeaderSize, frame.data + frame.size);
}

}  // namespace

Token NewToken() {
  Token token;
  if (getrandom(token.data(), token.size(), 0) != static_cast<ssize_t>(token.size())) {
    throw std::system_error(errno, std::generic_category(), "cannot get a random token");
  }
  return token;
}

std::vector<uint8_t> EncodeHello(const Hello& hello) {
  return Encode(hello.is_callback ? Kind::kCallbackHello : Kind::kMainHello, hello.token, "");
}

std::vector<uint8_t> EncodeReply(const HandshakeReply& reply) {
  return Encode(reply.is_accepted ? Kind::kAccept : Kind::kReject, reply.token,
                reply.cause.substr(0, kMaxCause));
}

std::optional<Hello> DecodeHello(ByteView frame) {
  if (!HasHeader(frame) || frame.size != kHeaderSize) return std::nullopt;
  const Kind kind = KindOf(frame);
  if (kind != Kind::kMainHello && kind != Kind::kCallbackHello) return std::nullopt;
  return Hello{kind == Kind::kCallbackHello, TokenOf(frame)};
}

std::optional<HandshakeReply> DecodeReply(ByteView frame) {
  if (!HasHeader(frame)) return std::nullopt;
  const Kind kind = KindOf(frame);
  if (kind != Kind::kAccept && kind != Kind::kReject) return std::nullopt;
  return HandshakeReply{kind == Kind::kAccept, TokenOf(frame), TextOf(frame)};
}

}  // namespace platform::rpc
