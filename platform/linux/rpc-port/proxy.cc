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

// Applications need the privileges; any other process may try its luck with the stub.
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
      dlog_print(DLOG_ERROR, kLogTag, "Port \"%s\" of %s does not answer",
                 self->target_->port_name.c_str(), self->target_->app_id.c_str());
      self->End();
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
      End();
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
    dlog_print(DLOG_ERROR, kLogTag, "Cannot connect to port \"%s\" of %s: %s",
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
    // Half of something is done that nobody will go on with.
    if (state_ != State::kIdle) End();
    throw;
  }
}

void Proxy::Serve(Port& port) {
  if (&port != ExpectedPort()) return;
  bool is_over = false;
  const auto serve = [&] {
    const bool was_connected = state_ == State::kConnected;
    is_over = was_connected ? !HandleFrame() : !HandleReply();
    if (is_over) return false;
    if (!was_connected && state_ == State::kConnected) FinishConnecting();
    return &port == ExpectedPort();
  };
  if (port.HandleFrames(serve) == Port::HandleResult::kClosed || is_over) End();
}

bool Proxy::HandleReply() {
  Port* port = ExpectedPort();
  const std::optional<HandshakeReply> answer = DecodeReply(port->Frame());
  port->PopFrame();
  if (!answer) {
    port->AbortConnection("no answer to a greeting");
    return false;
  }
  if (!answer->is_accepted) {
    dlog_print(DLOG_WARN, kLogTag, "Port \"%s\" of %s refuses this process: %s",
               target_->port_name.c_str(), target_->app_id.c_str(), answer->cause.c_str());
    return false;
  }
  if (state_ == State::kAwaitingMainReply) return OpenCallback(answer->token);
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
    port->AbortConnection("a parcel with a broken header");
    return false;
  }
  const auto target = target_;
  const uint64_t popped = port->popped();
  received.Call(target->app_id.c_str(), target->port_name.c_str());
  if (port != ExpectedPort()) return true;
  if (port->IsShutDown()) return false;
  // A frame that the callback left alone is not offered again.
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

void Proxy::End() {
  const bool was_connected = state_ == State::kConnected;
  const auto target = target_;
  Reset();
  const auto& events = was_connected ? disconnected : rejected;
  events.Call(target->app_id.c_str(), target->port_name.c_str());
}

}  // namespace platform::rpc
