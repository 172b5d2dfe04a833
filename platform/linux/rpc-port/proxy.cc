// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/proxy.h"

#include <dlog.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "platform/linux/common/process-identity.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/rpc-port/boundary.h"
#include "platform/linux/rpc-port/owned-socket.h"
#include "platform/linux/rpc-port/parcel.h"

namespace platform::rpc {
namespace {

constexpr const char* kNeededPrivileges[] = {"http://tizen.org/privilege/appmanager.launch",
                                             "http://tizen.org/privilege/datasharing"};

// Applications need the privileges. Other processes hold none; the stub decides whether to admit
// them.
bool MayConnect() {
  const ProcessIdentity self = IdentifyThisProcess();
  if (!self.is_installed_application) return true;
  for (const char* privilege : kNeededPrivileges) {
    if (HoldsPrivilege(self.app_id, privilege)) continue;
    dlog_print(DLOG_ERROR, kLogTag, "%s may not connect to ports without the privilege %s",
               self.app_id.c_str(), privilege);
    return false;
  }
  return true;
}

}  // namespace

int Proxy::Connect(const std::string& app_id, const std::string& port_name) {
  const int result = Begin(app_id, port_name);
  if (result != RPC_PORT_ERROR_NONE) return result;
  try {
    timeout_.Start(kHandshakeTimeout, [weak = weak_from_this()] {
      const auto self = weak.lock();
      if (self == nullptr) return;
      dlog_print(DLOG_ERROR, kLogTag, "handshake with port \"%s\" of %s timed out",
                 self->target_->port_name.c_str(), self->target_->app_id.c_str());
      self->Disconnect();
    });
    main_->Watch(weak_from_this());
  } catch (...) {
    Reset();
    throw;
  }
  return RPC_PORT_ERROR_NONE;
}

int Proxy::ConnectSync(const std::string& app_id, const std::string& port_name) {
  const int result = Begin(app_id, port_name);
  if (result != RPC_PORT_ERROR_NONE) return result;
  try {
    while (state_ != State::kConnected) {
      if (ExpectedPort()->WaitForFrame() && HandleReply()) continue;
      Disconnect();
      return RPC_PORT_ERROR_IO_ERROR;
    }
    FinishConnecting();
  } catch (...) {
    Reset();
    throw;
  }
  return RPC_PORT_ERROR_NONE;
}

int Proxy::Begin(const std::string& app_id, const std::string& port_name) {
  if (state_ != State::kIdle) return RPC_PORT_ERROR_INVALID_PARAMETER;
  if (!MayConnect()) return RPC_PORT_ERROR_PERMISSION_DENIED;
  target_ = std::make_shared<const Target>(Target{app_id, port_name});
  main_ = ConnectPort(Hello{});
  if (main_ == nullptr) return RPC_PORT_ERROR_IO_ERROR;
  state_ = State::kAwaitingMainReply;
  return RPC_PORT_ERROR_NONE;
}

std::shared_ptr<Port> Proxy::ConnectPort(const Hello& hello) {
  const std::string folder = RootPath() + "/" + kPortsFolder + "/" + target_->app_id;
  UniqueFd fd = ConnectTo(folder, target_->port_name);
  if (!fd) {
    dlog_print(DLOG_ERROR, kLogTag, "cannot connect to port \"%s\" of %s: %s",
               target_->port_name.c_str(), target_->app_id.c_str(), strerrordesc_np(errno));
    return nullptr;
  }
  const auto port = std::make_shared<Port>(std::move(fd));
  port->SetPeer(target_->app_id);
  const auto frame = EncodeHello(hello);
  port->Send({frame.data(), frame.size()});
  return port;
}

Port* Proxy::ExpectedPort() const {
  if (state_ == State::kIdle) return nullptr;
  return state_ == State::kAwaitingMainReply ? main_.get() : callback_.get();
}

void Proxy::OnReadable(Port* port) {
  try {
    Serve(*port);
  } catch (...) {
    // The connection is in an unknown state.
    if (state_ != State::kIdle) Disconnect();
    throw;
  }
}

void Proxy::Serve(Port& port) {
  if (&port != ExpectedPort()) return;
  bool must_close = false;
  const auto serve = [&] {
    const bool was_connected = state_ == State::kConnected;
    must_close = was_connected ? !HandleFrame() : !HandleReply();
    if (must_close) return false;
    if (!was_connected && state_ == State::kConnected) FinishConnecting();
    return &port == ExpectedPort();
  };
  if (port.HandleFrames(serve) == Port::HandleResult::kClosed || must_close) Disconnect();
}

bool Proxy::HandleReply() {
  Port* port = ExpectedPort();
  const std::optional<HandshakeReply> reply = DecodeReply(port->Frame());
  port->PopFrame();
  if (!reply) {
    port->AbortConnection("an invalid handshake reply");
    return false;
  }
  if (!reply->is_accepted) {
    dlog_print(DLOG_WARN, kLogTag, "port \"%s\" of %s rejected this process: %s",
               target_->port_name.c_str(), target_->app_id.c_str(), reply->cause.c_str());
    return false;
  }
  if (state_ == State::kAwaitingMainReply) return OpenCallback(reply->token);
  state_ = State::kConnected;
  return true;
}

bool Proxy::OpenCallback(const Token& token) {
  main_->StopWatching();
  callback_ = ConnectPort(Hello{true, token});
  if (callback_ == nullptr) return false;
  callback_->Watch(weak_from_this());
  state_ = State::kAwaitingCallbackReply;
  return true;
}

void Proxy::FinishConnecting() {
  timeout_.Stop();
  main_->Open(callback_);
  callback_->Open(main_);
  main_->EnableBlockingReceive();
  const auto target = target_;
  connected.Call(target->app_id.c_str(), target->port_name.c_str(), main_->handle());
}

bool Proxy::HandleFrame() {
  Port* port = ExpectedPort();
  if (!Parcel::IsWellFormed(port->Frame())) {
    port->AbortConnection("a parcel with an invalid header");
    return false;
  }
  const auto target = target_;
  const uint64_t popped = port->popped();
  received.Call(target->app_id.c_str(), target->port_name.c_str());
  if (port != ExpectedPort()) return true;
  if (port->IsShutDown()) return false;
  // Drop a frame that the callback did not read.
  if (port->popped() == popped) port->PopFrame();
  return true;
}

void Proxy::Reset() {
  state_ = State::kIdle;
  timeout_.Stop();
  for (auto* port : {&main_, &callback_}) {
    if (*port != nullptr) (*port)->Close();
    port->reset();
  }
}

void Proxy::Destroy() {
  Reset();
  connected.Clear();
  disconnected.Clear();
  rejected.Clear();
  received.Clear();
}

void Proxy::Disconnect() {
  const bool was_connected = state_ == State::kConnected;
  const auto target = target_;
  Reset();
  const auto& events = was_connected ? disconnected : rejected;
  events.Call(target->app_id.c_str(), target->port_name.c_str());
}

}  // namespace platform::rpc
