// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/port.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/tests/support/loop.h"
#include "platform/linux/tests/support/sockets.h"

using namespace platform::rpc;
using platform::UniqueFd;
using platform::test::FrameOf;
using platform::test::RunLoopDry;
using platform::test::RunLoopUntil;
using platform::test::SocketPair;
using platform::test::StartEcore;

namespace {

// Records all complete frames.
class FrameCollector final : public PortObserver {
 public:
  void OnReadable(Port* port) override {
    if (port->Receive() == Port::ReceiveResult::kClosed) {
      ++ends;
      port->StopWatching();
    }
    for (; port->Front() == FrameReader::State::kComplete; port->PopFrame()) {
      sizes.push_back(port->Frame().size);
    }
  }
  std::vector<size_t> sizes;
  int ends = 0;
};

class PortTest : public testing::Test {
 protected:
  PortTest() {
    StartEcore();
    auto ends = SocketPair();
    port_ = std::make_shared<Port>(std::move(ends.first));
    partner_ = std::make_shared<Port>(std::move(spare_.first));
    peer_ = std::move(ends.second);
    port_->Open(partner_);
    frames_ = std::make_shared<FrameCollector>();
  }
  ~PortTest() override {
    port_->Close();
    partner_->Close();
  }

  void PeerSends(const std::vector<uint8_t>& bytes) {
    ASSERT_EQ(write(peer_.Get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  bool ServeFrame() {
    ++served_;
    port_->PopFrame();
    return true;
  }
  bool Send(const std::vector<uint8_t>& frame) { return port_->Send({frame.data(), frame.size()}); }

  std::pair<UniqueFd, UniqueFd> spare_ = SocketPair();
  std::shared_ptr<Port> port_;
  std::shared_ptr<Port> partner_;
  UniqueFd peer_;
  std::shared_ptr<FrameCollector> frames_;
  int served_ = 0;
};

}  // namespace

TEST_F(PortTest, DoesNotBlockLoopOnPartialFrame) {
  port_->Watch(frames_);
  const auto frame = FrameOf(3, 'x');
  for (const uint8_t byte : frame) {
    EXPECT_TRUE(frames_->sizes.empty());
    PeerSends({byte});
    RunLoopDry();
  }
  EXPECT_EQ(frames_->sizes, (std::vector<size_t>{3}));
}

TEST_F(PortTest, HandlesBurstInOneIteration) {
  port_->Watch(frames_);
  std::vector<uint8_t> burst;
  for (uint32_t size = 1; size <= 50; ++size) {
    const auto frame = FrameOf(size, 'x');
    burst.insert(burst.end(), frame.begin(), frame.end());
  }
  PeerSends(burst);
  ASSERT_TRUE(RunLoopUntil([&] { return !frames_->sizes.empty(); }));
  EXPECT_EQ(frames_->sizes.size(), 50u);
}

TEST_F(PortTest, HandlesFramesArrivingMeanwhileUpToLimit) {
  PeerSends(FrameOf(1, 'x'));
  int served = 0;
  const auto serve = [&] {
    ++served;
    port_->PopFrame();
    PeerSends(FrameOf(1, 'x'));
    return true;
  };
  EXPECT_EQ(port_->HandleFrames(serve), Port::HandleResult::kContinue);
  EXPECT_EQ(served, 64);
}

TEST_F(PortTest, StopsWhenHandlerReturnsFalse) {
  PeerSends(FrameOf(1, 'x'));
  PeerSends(FrameOf(1, 'x'));
  int served = 0;
  const auto serve = [&] { return ++served > 1; };
  EXPECT_EQ(port_->HandleFrames(serve), Port::HandleResult::kStopped);
  EXPECT_EQ(served, 1);
}

TEST_F(PortTest, HandlesFramesSentBeforeDisconnection) {
  PeerSends(FrameOf(1, 'x'));
  peer_.Reset();
  EXPECT_EQ(port_->HandleFrames([this] { return ServeFrame(); }), Port::HandleResult::kClosed);
  EXPECT_EQ(served_, 1);
}

TEST_F(PortTest, HandlesFramesBeforeInvalidLength) {
  auto bytes = FrameOf(1, 'x');
  bytes.insert(bytes.end(), 4, 0);
  PeerSends(bytes);
  EXPECT_EQ(port_->HandleFrames([this] { return ServeFrame(); }), Port::HandleResult::kClosed);
  EXPECT_EQ(served_, 1);
  EXPECT_TRUE(port_->IsShutDown());
}

TEST_F(PortTest, ReportsDisconnectionInsideFrameOnce) {
  port_->Watch(frames_);
  PeerSends({9, 0, 0, 0, 'x'});
  peer_.Reset();
  ASSERT_TRUE(RunLoopUntil([&] { return frames_->ends > 0; }));
  RunLoopDry();
  EXPECT_EQ(frames_->ends, 1);
  EXPECT_TRUE(frames_->sizes.empty());
}

TEST_F(PortTest, ReportsShutdownByOwnSide) {
  port_->Watch(frames_);
  partner_->Open(port_);
  partner_->Shutdown();
  EXPECT_EQ(frames_->ends, 0);
  EXPECT_TRUE(RunLoopUntil([&] { return frames_->ends == 1; }));
}

TEST_F(PortTest, WaitsForFrameInPieces) {
  const auto frame = FrameOf(100000, 'x');
  std::thread peer([&] {
    for (size_t done = 0; done < frame.size(); done += 50002) {
      ASSERT_EQ(write(peer_.Get(), frame.data() + done, 50002), 50002);
    }
  });
  port_->EnableBlockingReceive();
  EXPECT_TRUE(port_->WaitForFrame());
  EXPECT_EQ(port_->Frame().size, 100000u);
  peer.join();
}

TEST_F(PortTest, LeavesNextFrameOfWatchedSocketToLoop) {
  port_->Watch(frames_);
  PeerSends(FrameOf(5, 'a'));
  PeerSends(FrameOf(6, 'b'));
  ASSERT_TRUE(port_->WaitForFrame());
  EXPECT_EQ(port_->Frame().size, 5u);
  port_->PopFrame();
  ASSERT_TRUE(RunLoopUntil([&] { return !frames_->sizes.empty(); }));
  EXPECT_EQ(frames_->sizes, (std::vector<size_t>{6}));
}

TEST_F(PortTest, FailsToWaitForDisconnectedPeer) {
  peer_.Reset();
  port_->EnableBlockingReceive();
  EXPECT_FALSE(port_->WaitForFrame());
}

TEST_F(PortTest, FailsToWaitForFrameOfInvalidLength) {
  PeerSends({0, 0, 0, 0});
  EXPECT_FALSE(port_->WaitForFrame());
  EXPECT_TRUE(port_->IsShutDown());
}

TEST_F(PortTest, FlushesQueueWhileWaiting) {
  const auto request = FrameOf(2 * 1024 * 1024, 'q');
  ASSERT_TRUE(Send(request));
  std::thread peer([&] {
    std::vector<uint8_t> bytes(request.size());
    size_t done = 0;
    while (done < bytes.size()) {
      const ssize_t count = read(peer_.Get(), bytes.data() + done, bytes.size() - done);
      if (count > 0) done += static_cast<size_t>(count);
    }
    PeerSends(FrameOf(2, 'a'));
  });
  EXPECT_TRUE(port_->WaitForFrame());
  EXPECT_EQ(port_->Frame().size, 2u);
  peer.join();
}

TEST_F(PortTest, FlushesQueueFromLoop) {
  const auto frame = FrameOf(3 * 1024 * 1024, 'x');
  ASSERT_TRUE(Send(frame));
  ASSERT_TRUE(Send(FrameOf(1, 'y')));
  std::vector<uint8_t> received;
  std::vector<uint8_t> some(65536);
  ASSERT_TRUE(RunLoopUntil([&] {
    ssize_t count;
    while ((count = read(peer_.Get(), some.data(), some.size())) > 0) {
      received.insert(received.end(), some.begin(), some.begin() + count);
    }
    return received.size() == frame.size() + 5;
  }));
  EXPECT_EQ(received.back(), 'y');
}

TEST_F(PortTest, LeavesRestOfLongBurstToNextIteration) {
  class Server final : public PortObserver {
   public:
    void OnReadable(Port* port) override {
      int served = 0;
      const auto serve = [&] {
        ++served;
        port->PopFrame();
        return true;
      };
      is_ended = port->HandleFrames(serve) == Port::HandleResult::kClosed;
      served_per_iteration.push_back(served);
      if (is_ended) port->StopWatching();
    }
    std::vector<int> served_per_iteration;
    bool is_ended = false;
  };
  const auto server = std::make_shared<Server>();
  std::vector<uint8_t> burst;
  for (int i = 0; i < 150; ++i) {
    const auto frame = FrameOf(1, 'x');
    burst.insert(burst.end(), frame.begin(), frame.end());
  }
  PeerSends(burst);
  peer_.Reset();
  port_->Watch(server);
  ASSERT_TRUE(RunLoopUntil([&] { return server->is_ended; }));
  EXPECT_EQ(server->served_per_iteration, (std::vector<int>{64, 64, 22}));
}

TEST_F(PortTest, StopsWhenShutDownDuringBurst) {
  PeerSends(FrameOf(1, 'x'));
  PeerSends(FrameOf(1, 'x'));
  ASSERT_EQ(port_->Receive(), Port::ReceiveResult::kData);
  port_->Shutdown();
  EXPECT_EQ(port_->HandleFrames([this] { return ServeFrame(); }), Port::HandleResult::kClosed);
  EXPECT_EQ(served_, 0);
}
