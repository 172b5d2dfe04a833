// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "recorder/connections.h"

namespace tools::recorder {

namespace {

constexpr char kPortName[] = "CommandHandler";

}  // namespace

Connections& Connections::Get() {
  static Connections& connections = *new Connections;
  return connections;
}

void Connections::SetStub(rpc_port_stub_h stub, const std::string& port_name) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (port_name == kPortName) {
    stubs_.insert(stub);
  } else {
    stubs_.erase(stub);
  }
}

bool Connections::IsLibraryStub(rpc_port_stub_h stub) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return stubs_.count(stub) == 1;
}

void Connections::Add(const Peer& peer) {
  const std::lock_guard<std::mutex> lock(mutex_);
  handlers_by_instance_[peer.instance] = peer.handler;
}

void Connections::Remove(const std::string& instance) {
  const std::lock_guard<std::mutex> lock(mutex_);
  handlers_by_instance_.erase(instance);
  for (auto port = peers_by_port_.begin(); port != peers_by_port_.end();) {
    port = port->second.instance == instance ? peers_by_port_.erase(port) : std::next(port);
  }
}

void Connections::SetCallbackPort(rpc_port_h port, const std::string& instance) {
  const std::lock_guard<std::mutex> lock(mutex_);
  // Handles of closed ports are reused.
  peers_by_port_.erase(port);
  const auto found = handlers_by_instance_.find(instance);
  if (found != handlers_by_instance_.end()) peers_by_port_[port] = {found->second, instance};
}

std::optional<Peer> Connections::OfCallbackPort(rpc_port_h port) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = peers_by_port_.find(port);
  return found != peers_by_port_.end() ? std::optional(found->second) : std::nullopt;
}

}  // namespace tools::recorder
