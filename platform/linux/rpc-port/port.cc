// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/port.h"

#include <dlog.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <utility>

#include "platform/linux/rpc-port/boundary.h"
#include "platform/linux/rpc-port/handle-table.h"
#include "platform/linux/rpc-port/handshake.h"

namespace platform::rpc {

using Clock = std::chrono::steady_clock;

Port::Port(UniqueFd fd, pid_t sender)
    : stream_(std::move(fd), sender), reader_(kMaxHandshakeFrame), watch_(stream_.fd(), this) {}

void Port::Open(const std::shared_ptr<Port>& partner) {
  partner_ = partner;
  reader_.SetMaxFrame(kMaxFrame);
  handle_ = HandleTable<Port>::Get().Add(shared_from_this());
}

void Port::EnableBlockingReceive() {
  const timeval limit = {kReplyTimeout.count(), 0};
  const int flags = fcntl(stream_.fd(), F_GETFL);
  is_blocking_ = setsockopt(stream_.fd(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)) == 0 &&
                 fcntl(stream_.fd(), F_SETFL, flags & ~O_NONBLOCK) == 0;
}

void Port::Watch(const std::weak_ptr<PortObserver>& observer) {
  observer_ = observer;
  watch_.WatchReading(true);
}

void Port::StopWatching() {
  observer_.reset();
  watch_.WatchReading(false);
}

void Port::Close() {
  is_closed_ = true;
  watch_.Remove();
  rest_timer_.Stop();
  observer_.reset();
  stream_.Shutdown();
  RemoveHandle();
}

void Port::RemoveHandle() { HandleTable<Port>::Get().Remove(handle_); }

bool Port::Send(ByteView frame) {
  try {
    return TrySend(frame);
  } catch (...) {
    // The rest of the frame could not be queued, and the next frame must not follow a partial one.
    Shutdown();
    throw;
  }
}

bool Port::TrySend(ByteView frame) {
  switch (stream_.Send(frame)) {
    case ByteStream::SendResult::kSent:
    case ByteStream::SendResult::kQueued:
      return true;
    case ByteStream::SendResult::kQueueStarted:
      ScheduleFlush();
      return true;
    case ByteStream::SendResult::kFull:
      dlog_print(DLOG_ERROR, kLogTag, "%s: send queue full, connection closed", peer_.c_str());
      break;
    case ByteStream::SendResult::kBroken:
      break;
  }
  Shutdown();
  return false;
}

// Runs the call immediately on the main loop's thread, else on that thread in the next iteration.
void Port::ScheduleFlush() {
  auto* port = new std::weak_ptr<Port>(weak_from_this());
  const auto watch_writing = [](void* data) {
    const std::unique_ptr<std::weak_ptr<Port>> weak(static_cast<std::weak_ptr<Port>*>(data));
    kBoundary.Run([&] {
      const auto self = weak->lock();
      if (self != nullptr && !self->is_closed_) self->watch_.WatchWriting(true);
      return RPC_PORT_ERROR_NONE;
    });
  };
  ecore_main_loop_thread_safe_call_async(watch_writing, port);
}

void Port::Flush() {
  const auto result = stream_.Flush();
  if (result == ByteStream::SendResult::kQueued) return;
  watch_.WatchWriting(false);
  if (result == ByteStream::SendResult::kBroken) Shutdown();
}

void Port::OnReady(bool readable, bool writable) {
  const auto self = shared_from_this();
  if (writable) Flush();
  const auto observer = observer_.lock();
  if (readable && observer != nullptr) observer->OnReadable(this);
}

Port::HandleResult Port::ScheduleRest() {
  rest_timer_.Start(std::chrono::seconds(0), [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->OnReady(true, false);
  });
  return HandleResult::kContinue;
}

void Port::Shutdown() {
  stream_.Shutdown();
  if (const auto partner = partner_.lock()) partner->stream_.Shutdown();
}

void Port::Disconnect() {
  Shutdown();
  RemoveHandle();
  if (const auto partner = partner_.lock()) partner->RemoveHandle();
}

void Port::AbortConnection(const char* cause) {
  dlog_print(DLOG_ERROR, kLogTag, "%s sent %s, connection closed", peer_.c_str(), cause);
  Shutdown();
}

Port::ReceiveResult Port::Receive() { return ReceiveSome(SIZE_MAX, MSG_DONTWAIT); }

Port::ReceiveResult Port::ReceiveSome(size_t limit, int flags) {
  if (IsShutDown()) return ReceiveResult::kClosed;
  const FrameReader::Space room = reader_.PrepareWrite();
  size_t count = 0;
  switch (stream_.Receive(room.data, std::min(room.size, limit), flags, &count)) {
    case ByteStream::ReceiveResult::kData:
      reader_.CommitWrite(count);
      return ReceiveResult::kData;
    case ByteStream::ReceiveResult::kWouldBlock:
      if (reader_.IsEmpty()) reader_.ReleaseBuffer();
      return ReceiveResult::kWouldBlock;
    case ByteStream::ReceiveResult::kOtherSender:
      AbortConnection("bytes from another process");
      break;
    case ByteStream::ReceiveResult::kClosed:
      break;
  }
  return ReceiveResult::kClosed;
}

bool Port::WaitForFrame() {
  if (Front() == FrameReader::State::kIncomplete) {
    const auto deadline = Clock::now() + kReplyTimeout;
    // Most replies arrive whole with the first call. Blocking is not possible while bytes are
    // queued: the peer may wait for them before it replies.
    const bool may_block = is_blocking_ && !stream_.HasQueued();
    bool is_waiting = !may_block || ReceiveSome(SIZE_MAX, 0) != ReceiveResult::kClosed;
    while (is_waiting && Front() == FrameReader::State::kIncomplete)
      is_waiting = PollOnce(deadline);
  }
  switch (Front()) {
    case FrameReader::State::kComplete:
      return true;
    case FrameReader::State::kMalformed:
      AbortConnection("a frame of invalid length");
      return false;
    case FrameReader::State::kIncomplete:
      break;
  }
  return false;
}

bool Port::PollOnce(Clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
  if (left.count() <= 0) {
    dlog_print(DLOG_ERROR, kLogTag, "no data from %s within %d s", peer_.c_str(),
               static_cast<int>(kReplyTimeout.count()));
    return false;
  }
  const short sending = stream_.HasQueued() ? POLLOUT : 0;
  pollfd ready = {stream_.fd(), static_cast<short>(POLLIN | sending), 0};
  if (poll(&ready, 1, static_cast<int>(left.count())) <= 0) return true;
  if ((ready.revents & POLLOUT) != 0 && stream_.Flush() == ByteStream::SendResult::kBroken) {
    return false;
  }
  if ((ready.revents & (POLLIN | POLLHUP | POLLERR)) == 0) return true;
  const size_t limit = watch_.IsReading() ? reader_.Missing() : SIZE_MAX;
  return ReceiveSome(limit, MSG_DONTWAIT) != ReceiveResult::kClosed;
}

}  // namespace platform::rpc
