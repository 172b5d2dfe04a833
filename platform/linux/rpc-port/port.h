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
  // There is something to receive, or the port was shut down. Called on the main loop's thread. The
  // port lives until this returns, whatever is done meanwhile.
  virtual void OnReadable(Port* port) = 0;

 protected:
  ~PortObserver() = default;
};

// One connected socket that carries frames: one half of what a connection's user sees. Sending and
// shutting down are safe from any thread; at most one thread at a time receives; the rest is for
// the main loop's thread.
class Port final : public std::enable_shared_from_this<Port>, private LoopObserver {
 public:
  // How long a caller is kept waiting for a frame.
  static constexpr std::chrono::seconds kReplyTimeout{10};

  // Takes frames of a greeting's length until the port is opened. Bytes of another process than
  // `sender` end the connection; see ByteStream.
  explicit Port(UniqueFd fd, pid_t sender = ByteStream::kAnySender);
  Port(const Port&) = delete;
  Port& operator=(const Port&) = delete;

  // What log lines call the other end.
  void SetPeer(const std::string& peer) { peer_ = peer; }

  // The greeting is over: frames of full length pass, and the port gets a handle. When either of
  // two partners is shut down, the other is too.
  void Open(const std::shared_ptr<Port>& partner);
  void* handle() const { return handle_; }
  // Lets a caller wait for frames with a single system call. For a port that nobody watches.
  void EnableBlockingReceive();

  // Tells the observer when there is something to receive.
  void Watch(const std::weak_ptr<PortObserver>& observer);
  void StopWatching();

  // The end: no event, no handle any more; the other side sees the end of the stream.
  void Close();

  // Never blocks. False when the connection is gone, or when so much waits already that it is given
  // up; then it is shut down too, and so it is when this throws.
  bool Send(ByteView frame);

  // Ends this connection. Who watches one of its ports is told from the main loop.
  void Shutdown();
  // The same, after which its handles are no longer valid.
  void Disconnect();
  bool IsShutDown() const { return stream_.IsShutDown(); }
  // The same as Shutdown(), with a line in the log that names the peer and the cause.
  void AbortConnection(const char* cause);

  enum class ReceiveResult { kData, kWouldBlock, kClosed };
  // Receives once what is there.
  ReceiveResult Receive();
  enum class HandleResult { kContinue, kStopped, kClosed };
  // Receives what is there and calls `serve` for each complete frame at the front; kStopped when
  // that says false, kClosed when the stream is at its end or malformed, which is logged. The
  // answer to a served frame often brings the next one at once: that is served too, before the main
  // loop has to find it, but only so often that others are not kept waiting. Frames that are left
  // then are served in the main loop's next turn.
  template <typename Serve>
  HandleResult HandleFrames(Serve serve);
  FrameReader::State Front() const { return reader_.Front(); }
  bool HasUnread() const { return !reader_.IsEmpty(); }
  ByteView Frame() const { return reader_.Frame(); }
  void PopFrame() { reader_.Pop(); }
  FrameReader& reader() { return reader_; }
  uint64_t popped() const { return reader_.popped(); }

  // Whether there is a frame at the front, waiting for it up to kReplyTimeout, while what waits to
  // be sent goes on being sent. Takes nothing from a watched socket beyond that frame, so that the
  // main loop still tells of the next. Reasons for false are logged.
  bool WaitForFrame();

 private:
  // After so many the main loop has its turn.
  static constexpr int kMaxFramesPerIteration = 64;

  void OnReady(bool readable, bool writable) override;
  // What was received already does not make the socket readable: the main loop is asked to come
  // back for it.
  HandleResult ScheduleRest();
  bool TrySend(ByteView frame);
  ReceiveResult ReceiveSome(size_t limit, int flags);
  // One step of waiting; false when there is no point in another.
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

template <typename Serve>
Port::HandleResult Port::HandleFrames(Serve serve) {
  for (int served = 0; !IsShutDown();) {
    while (Front() == FrameReader::State::kComplete) {
      if (served == kMaxFramesPerIteration) return ScheduleRest();
      if (!serve()) return HandleResult::kStopped;
      ++served;
    }
    if (Front() == FrameReader::State::kMalformed) {
      AbortConnection("a frame of impossible length");
      return HandleResult::kClosed;
    }
    if (served == kMaxFramesPerIteration) return HandleResult::kContinue;
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
