// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/application/request-server.h"

#include <dlog.h>
#include <sys/socket.h>

#include <cerrno>
#include <exception>
#include <utility>

#include "platform/linux/app-control/received-request.h"
#include "platform/linux/common/process-identity.h"

namespace platform {
namespace {

// Of memory or the package database, which may be there for the next one.
void LogLoss(const std::exception& error) {
  dlog_print(DLOG_ERROR, "APPCORE", "a launch request is lost: %s", error.what());
}

}  // namespace

RequestServer::RequestServer(UniqueFd listening_socket, Callback callback)
    : socket_(std::move(listening_socket)), callback_(std::move(callback)) {
  handler_ =
      ecore_main_fd_handler_add(socket_.Get(), ECORE_FD_READ, OnConnect, this, nullptr, nullptr);
}

RequestServer::~RequestServer() {
  for (Connection& connection : connections_) ecore_main_fd_handler_del(connection.handler);
  ecore_main_fd_handler_del(handler_);
}

Eina_Bool RequestServer::OnConnect(void* server, Ecore_Fd_Handler*) {
  auto* self = static_cast<RequestServer*>(server);
  try {
    self->Accept();
  } catch (const std::exception& error) {
    LogLoss(error);
  }
  return ECORE_CALLBACK_RENEW;
}

void RequestServer::Accept() {
  Connection connection;
  connection.server = this;
  connection.socket =
      UniqueFd(accept4(socket_.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!connection.socket) {
    if (errno == EMFILE || errno == ENFILE) pause_.Start(handler_);
    return;
  }
  // Asked at once, while the sender is most likely still there.
  connection.caller = IdentifyProcess(PeerOf(connection.socket.Get()).pid).app_id;
  // Nearly always all of the request is there already.
  if (Serve(&connection)) return;
  Connection& waiting = connections_.emplace_back(std::move(connection));
  waiting.handler = ecore_main_fd_handler_add(waiting.socket.Get(), ECORE_FD_READ, OnReadable,
                                              &waiting, nullptr, nullptr);
}

Eina_Bool RequestServer::OnReadable(void* data, Ecore_Fd_Handler*) {
  auto* connection = static_cast<Connection*>(data);
  RequestServer* const server = connection->server;
  try {
    if (!server->Serve(connection)) return ECORE_CALLBACK_RENEW;
  } catch (const std::exception& error) {
    LogLoss(error);
  }
  ecore_main_fd_handler_del(connection->handler);
  server->connections_.remove_if([=](const Connection& other) { return &other == connection; });
  return ECORE_CALLBACK_CANCEL;
}

bool RequestServer::Serve(Connection* connection) {
  const MessageReader::State state = connection->reader.ReadFrom(connection->socket.Get());
  if (state == MessageReader::State::kPartial) return false;
  app_control_h request = nullptr;
  const std::vector<uint8_t>& bytes = connection->reader.Bytes();
  if (state == MessageReader::State::kBroken ||
      platform_app_control_receive(bytes.data(), bytes.size(), connection->caller.c_str(),
                                   &request) != APP_CONTROL_ERROR_NONE) {
    dlog_print(DLOG_WARN, "APPCORE", "dropped a message from \"%s\" that is no request",
               connection->caller.c_str());
    return true;
  }
  callback_(request);
  app_control_destroy(request);
  return true;
}

}  // namespace platform
