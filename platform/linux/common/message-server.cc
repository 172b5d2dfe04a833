// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/message-server.h"

#include <dlog.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <utility>

#include "platform/linux/common/loop-timer.h"
#include "platform/linux/common/message.h"

namespace platform {

// One sender, until its message is complete.
class MessageServer::Connection final : private LoopObserver {
 public:
  Connection(MessageServer* server, UniqueFd socket)
      : server_(server),
        socket_(std::move(socket)),
        peer_(PeerOf(socket_.Get())),
        watch_(socket_.Get(), this) {}

  const PeerCredentials& peer() const { return peer_; }

  void Wait() {
    timeout_.Start(kMessageTimeout, [this] {
      dlog_print(DLOG_WARN, server_->log_tag_, "process %d sent no complete message in %lld s",
                 peer_.pid, static_cast<long long>(kMessageTimeout.count()));
      Detach();
    });
    watch_.WatchReading(true);
  }

  // Passes the message to the observer when it is complete; false before that. On return of true
  // the connection is destroyed, and perhaps its server.
  bool Serve() {
    const MessageReader::State state = reader_.ReadFrom(socket_.Get());
    if (state == MessageReader::State::kPartial) return false;
    // The observer may run the main loop.
    watch_.Remove();
    timeout_.Stop();
    const std::list<Connection> self = Detach();
    static const std::vector<uint8_t> kNoBytes;
    const bool is_complete = state == MessageReader::State::kComplete;
    server_->observer_->OnMessage(is_complete ? reader_.Bytes() : kNoBytes, peer_, socket_);
    return true;
  }

  // Removes the connection from its server. Returns a list with this element alone, which owns it.
  std::list<Connection> Detach() {
    std::list<Connection>& all = server_->connections_;
    std::list<Connection> self;
    self.splice(self.end(), all,
                std::find_if(all.begin(), all.end(),
                             [this](const Connection& other) { return &other == this; }));
    return self;
  }

 private:
  void OnReady(bool, bool) override {
    try {
      Serve();
    } catch (const std::exception& error) {
      dlog_print(DLOG_ERROR, server_->log_tag_, "lost a message: %s", error.what());
      Detach();
    }
  }

  MessageServer* const server_;
  const UniqueFd socket_;
  const PeerCredentials peer_;
  MessageReader reader_;
  LoopWatch watch_;
  LoopTimer timeout_;
};

MessageServer::MessageServer(UniqueFd listening_socket, const char* log_tag,
                             MessageObserver* observer)
    : log_tag_(log_tag),
      observer_(observer),
      socket_(std::move(listening_socket)),
      watch_(socket_.Get(), this),
      backoff_(&watch_) {
  watch_.WatchReading(true);
}

MessageServer::~MessageServer() = default;

void MessageServer::OnReady(bool, bool) {
  try {
    Accept();
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, log_tag_, "lost a message: %s", error.what());
  }
}

void MessageServer::CloseOldest() {
  dlog_print(DLOG_WARN, log_tag_,
             "more than %zu connections with incomplete messages: closed that of process %d",
             kMaxSenders, connections_.front().peer().pid);
  connections_.pop_front();
}

void MessageServer::Accept() {
  UniqueFd socket(accept4(socket_.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!socket) {
    if (errno == EMFILE || errno == ENFILE) backoff_.Start();
    return;
  }
  Connection& connection = connections_.emplace_back(this, std::move(socket));
  if (connection.peer().uid != geteuid()) {
    dlog_print(DLOG_WARN, log_tag_, "process %d belongs to another user: rejected",
               connection.peer().pid);
    connections_.pop_back();
    return;
  }
  try {
    // Nearly every sender writes its message before the connection is accepted.
    if (connection.Serve()) return;
    connection.Wait();
  } catch (...) {
    connection.Detach();
    throw;
  }
  if (connections_.size() > kMaxSenders) CloseOldest();
}

}  // namespace platform
