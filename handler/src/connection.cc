// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "connection.h"

#include <tizen.h>

#include <exception>
#include <new>
#include <utility>

#include "log.h"

namespace qor::internal {

namespace {

// Exceptions must not pass through the platform's C code.
template <typename Action>
void Guard(void* connection, Action action) {
  try {
    (static_cast<Connection*>(connection)->*action)();
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLogTag, "cannot handle a connection event: %s", error.what());
  }
}

}  // namespace

Connection::Connection(std::string agent, Observer& observer)
    : agent_(std::move(agent)), observer_(observer) {
  if (rpc_port_proxy_create(&proxy_) != RPC_PORT_ERROR_NONE) throw std::bad_alloc();
  rpc_port_proxy_add_connected_event_cb(
      proxy_,
      [](const char*, const char*, rpc_port_h, void* self) { Guard(self, &Connection::Open); },
      this);
  const auto close = [](const char*, const char*, void* self) { Guard(self, &Connection::Close); };
  rpc_port_proxy_add_rejected_event_cb(proxy_, close, this);
  rpc_port_proxy_add_disconnected_event_cb(proxy_, close, this);
  rpc_port_proxy_add_received_event_cb(
      proxy_, [](const char*, const char*, void* self) { Guard(self, &Connection::Receive); },
      this);
}

Connection::~Connection() { rpc_port_proxy_destroy(proxy_); }

bool Connection::Connect() {
  const int error = rpc_port_proxy_connect(proxy_, agent_.c_str(), wire::kPortName);
  if (error == RPC_PORT_ERROR_NONE) return true;
  state_ = State::kClosed;
  dlog_print(DLOG_WARN, kLogTag, "cannot connect to %s: %s%s", agent_.c_str(),
             get_error_message(error),
             error == RPC_PORT_ERROR_PERMISSION_DENIED
                 ? "; the manifest needs the privileges http://tizen.org/privilege/datasharing and "
                   "http://tizen.org/privilege/appmanager.launch"
                 : "");
  return false;
}

void Connection::FetchCommands() {
  if (rpc_port_parcel_send(wire::Registration().get(), Port(RPC_PORT_PORT_MAIN)) !=
      RPC_PORT_ERROR_NONE)
    Close();
}

bool Connection::SendResult(const std::string& uuid, const Answer& answer) {
  return Call(wire::Result(uuid, answer));
}

bool Connection::RequestExtension(const std::string& uuid, double seconds) {
  return Call(wire::ExtensionRequest(uuid, seconds));
}

void Connection::Open() {
  if (state_ != State::kConnecting) return;
  state_ = State::kOpen;
  observer_.OnOpened();
}

void Connection::Close() {
  if (state_ == State::kClosed) return;
  state_ = State::kClosed;
  observer_.OnClosed();
}

void Connection::Receive() {
  const wire::Parcel parcel = wire::Receive(Port(RPC_PORT_PORT_CALLBACK));
  auto command = parcel ? wire::ReadDelivery(parcel.get()) : std::nullopt;
  if (!command) {
    dlog_print(DLOG_ERROR, kLogTag, "invalid command from %s", agent_.c_str());
    return;
  }
  command->agent = agent_;
  observer_.OnCommand(std::move(*command));
}

rpc_port_h Connection::Port(rpc_port_port_type_e type) const {
  rpc_port_h port = nullptr;
  const int error = rpc_port_proxy_get_port(proxy_, type, &port);
  return error == RPC_PORT_ERROR_NONE ? port : nullptr;
}

bool Connection::Call(const wire::Parcel& call) {
  if (!IsOpen()) return false;
  const int error = rpc_port_parcel_send(call.get(), Port(RPC_PORT_PORT_MAIN));
  if (error != RPC_PORT_ERROR_NONE) Abort();
  return error == RPC_PORT_ERROR_NONE;
}

std::optional<bool> Connection::AwaitReply() {
  if (!IsOpen()) return std::nullopt;
  // The main port is read only here, so the platform blocks until the reply or its own timeout.
  const wire::Parcel parcel = wire::Receive(Port(RPC_PORT_PORT_MAIN));
  const auto reply = parcel ? wire::ReadReply(parcel.get()) : std::nullopt;
  if (!reply) Abort();
  return reply;
}

void Connection::Abort() {
  dlog_print(DLOG_WARN, kLogTag, "no reply from %s: closing the connection", agent_.c_str());
  Close();
}

}  // namespace qor::internal
