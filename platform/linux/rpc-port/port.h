// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_PORT_H_
#define PLATFORM_LINUX_RPC_PORT_PORT_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/linux/common/bytes.h"
#include "platform/linux/common/loop-timer.h"
#include "platform/linux/common/loop-watch.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/rpc-port/byte-stream.h"
#include "platform/linux/rpc-port/frame-reader.h"

namespace platform::rpc {

class Port;

class PortObserver {
 public:
  // Data arrived, or the port was shut down. Called on the main loop's thread. The port lives until
  // this returns, even if the callee closes and releases it.
  virtual void OnReadable(Port* port) = 0;

 protected:
  ~PortObserver() = default;
};

// A connected socket that carries frames: the main or the callback port of a connection. Sending
// and shutting down are thread-safe. At most one thread at a time receives. All other functions are
// for the main loop's thread only.
class Port final : public std::enable_shared_from_this<Port>, private LoopObserver {
 public:
  // How long WaitForFrame() blocks.
  static constexpr std::chrono::seconds kReplyTimeout{10};

  // Until Open(), longer frames than those of a handshake are malformed. Bytes from a process other
  // than `sender` close the connection; see ByteStream.
  explicit Port(UniqueFd fd, pid_t sender = ByteStream::kAnySender);
  Port(const Port&) = delete;
  Port& operator=(const Port&) = delete;

  // The name of the other end in log lines.
  void SetPeer(const std::string& peer) { peer_ = peer; }

  // Ends the handshake: admits frames of full length and creates the handle. Shutting down either
  // port of a connection shuts down its partner.
  void Open(const std::shared_ptr<Port>& partner);
  void* handle() const { return handle_; }
  // Makes the descriptor blocking, so that WaitForFrame() needs a single system call in the common
  // case. For a port that is not watched.
  void EnableBlockingReceive();

  // Notifies the observer from now on.
  void Watch(const std::weak_ptr<PortObserver>& observer);
  void StopWatching();

  // Shuts the stream down, invalidates the handle and stops all events.
  void Close();

  // Sends or queues a frame. Never blocks. On failure the connection is shut down: false when it
  // was closed or its queue is full, std::bad_alloc when the frame cannot be queued.
  bool Send(ByteView frame);

  // Shuts both ports of the connection down. The main loop notifies their observers.
  void Shutdown();
  // Like Shutdown(), and invalidates the handles of both ports.
  void Disconnect();
  bool IsShutDown() const { return stream_.IsShutDown(); }
  // Like Shutdown(), after logging a protocol error: what the peer sent.
  void AbortConnection(const char* cause);

  enum class ReceiveResult { kData, kWouldBlock, kClosed };
  // Receives available bytes with one system call.
  ReceiveResult Receive();
  enum class HandleResult { kContinue, kStopped, kClosed };
  // Receives available bytes and calls `handle` for each complete frame at the front. Returns
  // kStopped when `handle` returned false, and kClosed when the stream is at its end or malformed,
  // which is logged. Receives again after the last frame, because the reply to a frame often brings
  // the next one: this saves an iteration of the main loop for each frame. Handles at most
  // kMaxFramesPerIteration, so that other connections are not delayed; the next iteration of the
  // main loop handles the rest.
  template <typename Handle>
  HandleResult HandleFrames(Handle handle);
  FrameReader::State Front() const { return reader_.Front(); }
  bool HasUnread() const { return !reader_.IsEmpty(); }
  ByteView Frame() const { return reader_.Frame(); }
  void PopFrame() { reader_.Pop(); }
  FrameReader& reader() { return reader_; }
  uint64_t popped() const { return reader_.popped(); }

  // Blocks up to kReplyTimeout until a complete frame is at the front; flushes queued bytes
  // meanwhile. Receives nothing beyond that frame from a watched socket, which stays readable for
  // the frames after it. False after a timeout, a malformed frame (both logged) or the end of the
  // stream.
  bool WaitForFrame();

 private:
  // Balances throughput of one connection against latency of the others.
  static constexpr int kMaxFramesPerIteration = 64;

  void OnReady(bool readable, bool writable) override;
  // Schedules HandleFrames() with a timer, because frames that were received already do not make
  // the socket readable.
  HandleResult ScheduleRest();
  bool TrySend(ByteView frame);
  ReceiveResult ReceiveSome(size_t limit, int flags);
  // Waits once, for data or the deadline. False when waiting again is useless.
  bool PollOnce(std::chrono::steady_clock::time_point deadline);
  void Flush();
  void ScheduleFlush();
  void RemoveHandle();

  ByteStream stream_;
  FrameReader reader_;
  LoopWatch watch_;
  LoopTimer rest_timer_;
  std::weak_ptr<PortObserver> observer_;
  std::weak_ptr<Port> partner_;
  std::string peer_;
  void* handle_ = nullptr;
  bool is_blocking_ = false;
  bool is_closed_ = false;
};

template <typename Handle>
Port::HandleResult Port::HandleFrames(Handle handle) {
  for (int handled = 0; !IsShutDown();) {
    while (Front() == FrameReader::State::kComplete) {
      if (handled == kMaxFramesPerIteration) return ScheduleRest();
      if (!handle()) return HandleResult::kStopped;
      ++handled;
    }
    if (Front() == FrameReader::State::kMalformed) {
      AbortConnection("a frame of invalid length");
      return HandleResult::kClosed;
    }
    if (handled == kMaxFramesPerIteration) return HandleResult::kContinue;
    const ReceiveResult received = Receive();
    if (received == ReceiveResult::kClosed) return HandleResult::kClosed;
    if (received == ReceiveResult::kWouldBlock || Front() == FrameReader::State::kIncomplete) {
      return HandleResult::kContinue;
    }
  }
  return HandleResult::kClosed;
}

}  // namespace platform::rpc

#endif
