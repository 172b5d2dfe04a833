// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/byte-stream.h"

#include <gtest/gtest.h>

#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/tests/support/sockets.h"

using platform::UniqueFd;
using platform::rpc::ByteStream;
using platform::test::SocketPair;
using SendResult = ByteStream::SendResult;

namespace {

constexpr size_t kMegabyte = 1024 * 1024;

ByteStream::SendResult Send(ByteStream* stream, const std::vector<uint8_t>& bytes) {
  return stream->Send({bytes.data(), bytes.size()});
}

std::vector<uint8_t> ReceiveAll(int fd) {
  std::vector<uint8_t> all;
  std::vector<uint8_t> some(kMegabyte);
  ssize_t count;
  while ((count = recv(fd, some.data(), some.size(), MSG_DONTWAIT)) > 0) {
    all.insert(all.end(), some.begin(), some.begin() + count);
  }
  return all;
}

}  // namespace

TEST(ByteStream, SendsWithoutQueueing) {
  auto [near, far] = SocketPair();
  ByteStream stream(std::move(near));
  EXPECT_EQ(Send(&stream, {1, 2, 3}), SendResult::kSent);
  EXPECT_FALSE(stream.HasQueued());
  EXPECT_EQ(ReceiveAll(far.Get()), (std::vector<uint8_t>{1, 2, 3}));
}

TEST(ByteStream, QueuesInOrderWhenSocketIsFull) {
  auto [near, far] = SocketPair();
  ByteStream stream(std::move(near));
  std::vector<uint8_t> expected;
  for (uint8_t i = 0; i < 8; ++i) {
    const std::vector<uint8_t> piece(kMegabyte / 2, i);
    const SendResult result = Send(&stream, piece);
    EXPECT_EQ(result, i == 0 ? SendResult::kQueueStarted : SendResult::kQueued);
    expected.insert(expected.end(), piece.begin(), piece.end());
  }
  std::vector<uint8_t> received;
  while (received.size() < expected.size()) {
    const auto some = ReceiveAll(far.Get());
    received.insert(received.end(), some.begin(), some.end());
    ASSERT_NE(stream.Flush(), SendResult::kBroken);
  }
  EXPECT_EQ(received, expected);
  EXPECT_FALSE(stream.HasQueued());
}

TEST(ByteStream, FailsWhenQueueIsFull) {
  auto [near, far] = SocketPair();
  ByteStream stream(std::move(near));
  const std::vector<uint8_t> piece(kMegabyte, 'x');
  size_t taken = 0;
  while (Send(&stream, piece) != SendResult::kFull) ++taken;
  EXPECT_GE(taken * kMegabyte, ByteStream::kMaxQueued);
  EXPECT_LE(taken * kMegabyte, ByteStream::kMaxQueued + 2 * kMegabyte);
}

TEST(ByteStream, DetectsDisconnectedPeer) {
  auto [near, far] = SocketPair();
  ByteStream stream(std::move(near));
  far.Reset();
  EXPECT_EQ(Send(&stream, {1}), SendResult::kBroken);
  uint8_t byte;
  size_t count = 0;
  EXPECT_EQ(stream.Receive(&byte, 1, MSG_DONTWAIT, &count), ByteStream::ReceiveResult::kClosed);
}

TEST(ByteStream, ShutdownClosesBothDirections) {
  auto [near, far] = SocketPair();
  ByteStream stream(std::move(near));
  ByteStream other(std::move(far));
  stream.Shutdown();
  uint8_t byte;
  size_t count = 0;
  EXPECT_EQ(other.Receive(&byte, 1, MSG_DONTWAIT, &count), ByteStream::ReceiveResult::kClosed);
  EXPECT_EQ(Send(&stream, {1}), SendResult::kBroken);
  EXPECT_EQ(stream.Flush(), SendResult::kBroken);
}

TEST(ByteStream, DoesNotMixBytesOfThreads) {
  auto [near, far] = SocketPair();
  ByteStream stream(std::move(near));
  constexpr size_t kPiece = 3000;
  constexpr size_t kPieces = 100;
  std::vector<std::thread> threads;
  for (uint8_t i = 1; i <= 3; ++i) {
    threads.emplace_back([&stream, i] {
      for (size_t j = 0; j < kPieces; ++j) Send(&stream, std::vector<uint8_t>(kPiece, i));
    });
  }
  std::vector<uint8_t> received;
  while (received.size() < 3 * kPieces * kPiece) {
    const auto some = ReceiveAll(far.Get());
    received.insert(received.end(), some.begin(), some.end());
    if (stream.HasQueued()) stream.Flush();
  }
  for (std::thread& thread : threads) thread.join();
  for (size_t i = 0; i < received.size(); ++i) {
    ASSERT_EQ(received[i], received[i / kPiece * kPiece]) << i;
  }
}
