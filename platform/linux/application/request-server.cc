// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/application/request-server.h"

#include <dlog.h>
#include <sys/socket.h>

#include <cerrno>
#include <exception>
#include <string>
#include <utility>

#include "platform/linux/app-control/received-request.h"
#include "platform/linux/common/message.h"
#include "platform/linux/common/process-identity.h"

namespace platform {
namespace {

// Of memory or the package database, which may be there for the next one.
void LogLoss(const std::exception& error) {
  dlog_print(DLOG_ERROR, "APPCORE", "a launch request is lost: %s", error.what());
}

}  // namespace

// One sender, until its request is there.
class RequestServer::Connection final : private LoopTarget {
 public:
  Connection(RequestServer* server, UniqueFd socket)
      : server_(server),
        socket_(std::move(socket)),
        // Asked at once, while the sender is most likely still there.
        caller_(IdentifyProcess(PeerOf(socket_.Get()).pid).app_id),
        watch_(socket_.Get(), this) {}

  // True when nothing more is to come.
  bool Serve();
  void ServeLater() { watch_.WatchReading(true); }

 private:
  void OnReady(bool readable, bool writable) override;

  RequestServer* const server_;
  const UniqueFd socket_;
  const std::string caller_;
  MessageReader reader_;
  LoopWatch watch_;
};

bool RequestServer::Connection::Serve() {
  const MessageReader::State state = reader_.ReadFrom(socket_.Get());
  if (state == MessageReader::State::kPartial) return false;
  // The callback may run the main loop.
  watch_.Remove();
  if (state == MessageReader::State::kComplete) Acknowledge(socket_.Get());
  app_control_h request = nullptr;
  const std::vector<uint8_t>& bytes = reader_.Bytes();
  if (state == MessageReader::State::kBroken ||
      platform_app_control_receive(bytes.data(), bytes.size(), caller_.c_str(), &request) !=
          APP_CONTROL_ERROR_NONE) {
    dlog_print(DLOG_WARN, "APPCORE", "dropped a message from \"%s\" that is no request",
               caller_.c_str());
    return true;
  }
  server_->callback_(request);
  app_control_destroy(request);
  return true;
}

void RequestServer::Connection::OnReady(bool, bool) {
  try {
    if (!Serve()) return;
  } catch (const std::exception& error) {
    LogLoss(error);
  }
  server_->connections_.remove_if([this](const Connection& other) { return &other == this; });
}

RequestServer::RequestServer(UniqueFd listening_socket, Callback callback)
    : callback_(std::move(callback)),
      socket_(std::move(listening_socket)),
      watch_(socket_.Get(), this),
      pause_(&watch_) {
  watch_.WatchReading(true);
}

RequestServer::~RequestServer() = default;

void RequestServer::OnReady(bool, bool) {
  try {
    Accept();
  } catch (const std::exception& error) {
    LogLoss(error);
  }
}

void RequestServer::Accept() {
  UniqueFd socket(accept4(socket_.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!socket) {
    if (errno == EMFILE || errno == ENFILE) pause_.Start();
    return;
  }
  std::list<Connection> added;
  Connection& connection = added.emplace_back(this, std::move(socket));
  // Nearly always all of the request is there already.
  if (connection.Serve()) return;
  connection.ServeLater();
  connections_.splice(connections_.end(), added);
}

}  // namespace platform
