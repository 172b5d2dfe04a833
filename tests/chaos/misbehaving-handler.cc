// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler that answers twice, never, or commands that it did not receive, and calls an unknown
// method. It keeps no state, so that it answers a redelivered command again.

#include <rpc-port.h>

#include <optional>
#include <string>

#include "bare-handler.h"
#include "crash-handler.h"
#include "wire.h"

namespace {

namespace wire = qor::internal::wire;

class MisbehavingHandler {
 public:
  MisbehavingHandler() = default;
  MisbehavingHandler(const MisbehavingHandler&) = delete;
  MisbehavingHandler& operator=(const MisbehavingHandler&) = delete;
  ~MisbehavingHandler() { Close(); }

  void Connect(const std::string& agent) {
    if (proxy_ != nullptr && is_connected_) return;
    Close();
    rpc_port_proxy_create(&proxy_);
    rpc_port_proxy_add_connected_event_cb(
        proxy_,
        [](const char*, const char*, rpc_port_h, void* self) {
          static_cast<MisbehavingHandler*>(self)->Send(wire::Registration());
        },
        this);
    const auto end = [](const char*, const char*, void* self) {
      static_cast<MisbehavingHandler*>(self)->is_connected_ = false;
    };
    rpc_port_proxy_add_rejected_event_cb(proxy_, end, this);
    rpc_port_proxy_add_disconnected_event_cb(proxy_, end, this);
    rpc_port_proxy_add_received_event_cb(
        proxy_,
        [](const char*, const char*, void* self) {
          static_cast<MisbehavingHandler*>(self)->Receive();
        },
        this);
    is_connected_ =
        rpc_port_proxy_connect(proxy_, agent.c_str(), wire::kPortName) == RPC_PORT_ERROR_NONE;
  }

 private:
  void Receive() {
    const wire::Parcel parcel = wire::Receive(Port(RPC_PORT_PORT_CALLBACK));
    const auto command = parcel ? wire::ReadDelivery(parcel.get()) : std::nullopt;
    if (!command) return;
    const std::string behavior = command->type.substr(command->type.find('.') + 1);
    if (behavior == "never") return;
    if (behavior == "wrong-uuid") {
      Call(wire::Result("no-such-command", {true, "nothing"}));
      Call(wire::ExtensionRequest("no-such-command", -1));
    } else if (behavior == "unknown-method") {
      CallUnknownMethod();
    } else {
      Call(wire::Result(command->uuid, {true, command->payload}));
      if (behavior == "twice") Call(wire::Result(command->uuid, {true, command->payload}));
    }
  }

  void CallUnknownMethod() {
    constexpr int kNoMethod = 99;
    rpc_port_parcel_h parcel = nullptr;
    rpc_port_parcel_create(&parcel);
    const wire::Parcel call(parcel);
    rpc_port_parcel_write_int32(parcel, kNoMethod);
    Send(call);
  }

  bool Send(const wire::Parcel& call) {
    return rpc_port_parcel_send(call.get(), Port(RPC_PORT_PORT_MAIN)) == RPC_PORT_ERROR_NONE;
  }

  void Call(const wire::Parcel& call) {
    if (Send(call)) wire::Receive(Port(RPC_PORT_PORT_MAIN));
  }

  rpc_port_h Port(rpc_port_port_type_e type) const {
    rpc_port_h port = nullptr;
    rpc_port_proxy_get_port(proxy_, type, &port);
    return port;
  }

  void Close() {
    if (proxy_ != nullptr) rpc_port_proxy_destroy(proxy_);
    proxy_ = nullptr;
  }

  rpc_port_proxy_h proxy_ = nullptr;
  bool is_connected_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  chaos::InstallCrashHandler(argv[0]);
  MisbehavingHandler misbehaving;
  return support::RunBareHandler(argc, argv,
                                 [&](const std::string& agent) { misbehaving.Connect(agent); });
}
