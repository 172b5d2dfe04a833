// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/handshake.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/linux/rpc-port/frame-reader.h"
#include "platform/linux/rpc-port/owned-socket.h"

using namespace platform::rpc;
using platform::ByteView;

namespace {

ByteView Inside(const std::vector<uint8_t>& frame) {
  return {frame.data() + kFrameLengthSize, frame.size() - kFrameLengthSize};
}

}  // namespace

TEST(Handshake, RoundTrips) {
  const Token token = NewToken();
  const auto hello = DecodeHello(Inside(EncodeHello({true, token})));
  ASSERT_TRUE(hello);
  EXPECT_TRUE(hello->is_callback);
  EXPECT_EQ(hello->token, token);
  const auto reply = DecodeReply(Inside(EncodeReply({false, Token{}, "no"})));
  ASSERT_TRUE(reply);
  EXPECT_FALSE(reply->is_accepted);
  EXPECT_EQ(reply->cause, "no");
}

TEST(Handshake, DoesNotRepeatTokens) { EXPECT_NE(NewToken(), NewToken()); }

TEST(Handshake, TruncatesLongCause) {
  const auto frame = EncodeReply({false, Token{}, std::string(5000, 'x')});
  EXPECT_LE(frame.size(), kFrameLengthSize + kMaxHandshakeFrame);
  EXPECT_TRUE(DecodeReply(Inside(frame)));
}

TEST(Handshake, RejectsMalformedFrames) {
  const auto hello = EncodeHello(Hello{});
  for (size_t size = 0; size + kFrameLengthSize < hello.size(); ++size) {
    EXPECT_FALSE(DecodeHello({hello.data() + kFrameLengthSize, size})) << size;
  }
  EXPECT_FALSE(DecodeReply(Inside(hello)));
  EXPECT_FALSE(DecodeHello(Inside(EncodeReply(HandshakeReply{}))));
  auto other_protocol = hello;
  other_protocol[kFrameLengthSize + 3] = 2;
  EXPECT_FALSE(DecodeHello(Inside(other_protocol)));
}

TEST(Names, MustBeFileNames) {
  EXPECT_TRUE(IsPortName("CommandHandler"));
  EXPECT_TRUE(IsAppId("org.example.app"));
  for (const char* name : {"", ".", "..", "a/b", "/", ".hidden"}) {
    EXPECT_FALSE(IsPortName(name)) << name;
    EXPECT_FALSE(IsAppId(name)) << name;
  }
  EXPECT_FALSE(IsPortName(nullptr));
  EXPECT_TRUE(IsPortName(std::string(80, 'x').c_str()));
  EXPECT_FALSE(IsPortName(std::string(81, 'x').c_str()));
  EXPECT_FALSE(IsAppId(std::string(256, 'x').c_str()));
}
