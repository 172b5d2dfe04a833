// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "port-interposer.h"

#include <dlfcn.h>
#include <rpc-port.h>

#include <set>
#include <string>
#include <utility>

#include "recorder/target.h"

namespace chaos {

namespace {

// Never destroyed: destructors of static objects may close connections.
std::function<void()>& OnMissing() {
  static auto& on_missing = *new std::function<void()>;
  return on_missing;
}

// Connections of the library's stub whose port it has requested before.
std::set<std::string>& Known() {
  static auto& known = *new std::set<std::string>;
  return known;
}

void OnDisconnected(const char* sender, const char* instance, void* kept) {
  Known().erase(instance);
  const auto& [callback, data] =
      tools::recorder::TargetFrom<rpc_port_stub_disconnected_event_cb>(kept);
  callback(sender, instance, data);
}

}  // namespace

void SetMissingPortCallback(std::function<void()> on_missing) {
  OnMissing() = std::move(on_missing);
}

}  // namespace chaos

// Executables come first in symbol lookup, so these precede the functions of the preloaded recorder
// and of the platform.

__attribute__((visibility("default"))) int rpc_port_stub_get_port(rpc_port_stub_h stub,
                                                                  rpc_port_port_type_e type,
                                                                  const char* instance,
                                                                  rpc_port_h* port) {
  static const auto real = reinterpret_cast<decltype(rpc_port_stub_get_port)*>(
      dlsym(RTLD_NEXT, "rpc_port_stub_get_port"));
  const int code = real(stub, type, instance, port);
  // The library requests the port with every call of the peer. Only the first request counts.
  const bool is_new = chaos::Known().insert(instance).second;
  if (code != RPC_PORT_ERROR_NONE && is_new && chaos::OnMissing()) chaos::OnMissing()();
  return code;
}

__attribute__((visibility("default"))) int rpc_port_stub_add_disconnected_event_cb(
    rpc_port_stub_h stub, rpc_port_stub_disconnected_event_cb callback, void* user_data) {
  static const auto real = reinterpret_cast<decltype(rpc_port_stub_add_disconnected_event_cb)*>(
      dlsym(RTLD_NEXT, "rpc_port_stub_add_disconnected_event_cb"));
  // A new stub: the connections of the previous one have ended.
  chaos::Known().clear();
  return real(stub, chaos::OnDisconnected, tools::recorder::KeepTarget(callback, user_data));
}
