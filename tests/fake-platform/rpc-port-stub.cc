// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <rpc-port.h>

#include <stdexcept>

#include "state.h"

using fake::internal::CallBack;
using fake::internal::Connection;
using fake::internal::FunctionCall;
using fake::internal::GetState;
using fake::internal::Port;
using fake::internal::Stub;

namespace {

std::shared_ptr<Stub> FindStub(rpc_port_stub_h h, const char* function) {
  return fake::internal::Find(GetState().stubs, h, function);
}

// Returns the most recently created stub that listens, with the given name unless it is empty.
std::pair<void*, std::shared_ptr<Stub>> FindListeningStub(const std::string& port_name = {}) {
  std::pair<void*, std::shared_ptr<Stub>> last{nullptr, nullptr};
  for (const auto& candidate : GetState().stubs.All()) {
    const Stub& stub = *candidate.second;
    if (stub.listening && (port_name.empty() || stub.port_name == port_name)) last = candidate;
  }
  return last;
}

std::pair<void*, std::shared_ptr<Stub>> StubOf(const std::string& instance) {
  for (const auto& candidate : GetState().stubs.All()) {
    if (candidate.second->connections.count(instance)) return candidate;
  }
  throw std::logic_error("no connection " + instance);
}

void* AddPort(const std::string& instance, rpc_port_port_type_e type) {
  auto port = std::make_shared<Port>();
  port->instance = instance;
  port->type = type;
  return GetState().ports.Add(port);
}

void RemovePorts(const Connection& connection) {
  GetState().ports.Remove(connection.main_port);
  GetState().ports.Remove(connection.callback_port);
}

// Closes a connection. The callback runs before the ports are destroyed.
void CloseConnection(void* handle, const std::string& instance) {
  const auto stub = GetState().stubs.Find(handle);
  if (!stub) return;
  const auto found = stub->connections.find(instance);
  if (found == stub->connections.end()) return;
  const Connection connection = found->second;
  if (stub->disconnected) {
    CallBack(stub->disconnected, connection.sender.c_str(), instance.c_str(),
             stub->disconnected_data);
  }
  stub->connections.erase(instance);
  RemovePorts(connection);
}

template <typename Callback>
int SetCallback(rpc_port_stub_h h, Callback Stub::*callback_field, void* Stub::*data_field,
                Callback callback, void* data, const char* function) {
  const FunctionCall call(function);
  if (call.error != 0) return call.error;
  const auto stub = FindStub(h, function);
  if (!stub || !callback) return RPC_PORT_ERROR_INVALID_PARAMETER;
  (*stub).*callback_field = callback;
  (*stub).*data_field = data;
  return RPC_PORT_ERROR_NONE;
}

}  // namespace

extern "C" {

int rpc_port_disconnect(rpc_port_h port) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto found = fake::internal::Find(GetState().ports, port, __func__);
  if (!found) return RPC_PORT_ERROR_INVALID_PARAMETER;
  const std::string instance = found->instance;
  CloseConnection(StubOf(instance).first, instance);
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_stub_create(rpc_port_stub_h* h, const char* port_name) {
  const FunctionCall call(__func__, port_name ? port_name : "");
  if (call.error != 0) return call.error;
  if (!h || !port_name || !*port_name) return RPC_PORT_ERROR_INVALID_PARAMETER;
  auto stub = std::make_shared<Stub>();
  stub->port_name = port_name;
  *h = GetState().stubs.Add(stub);
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_stub_destroy(rpc_port_stub_h h) {
  const FunctionCall call(__func__);
  const auto stub = FindStub(h, __func__);
  if (!stub) return RPC_PORT_ERROR_INVALID_PARAMETER;
  GetState().stubs.Remove(h);
  for (const auto& [instance, connection] : stub->connections) RemovePorts(connection);
  return call.error;
}

int rpc_port_stub_listen(rpc_port_stub_h h) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto stub = FindStub(h, __func__);
  if (!stub) return RPC_PORT_ERROR_INVALID_PARAMETER;
  const auto owner = FindListeningStub(stub->port_name).first;
  if (owner && owner != h) return RPC_PORT_ERROR_IO_ERROR;
  stub->listening = true;
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_stub_add_privilege(rpc_port_stub_h h, const char* privilege) {
  const FunctionCall call(__func__, privilege ? privilege : "");
  if (call.error != 0) return call.error;
  const auto stub = FindStub(h, __func__);
  if (!stub || !privilege) return RPC_PORT_ERROR_INVALID_PARAMETER;
  stub->privileges.emplace_back(privilege);
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_stub_add_connected_event_cb(rpc_port_stub_h h, rpc_port_stub_connected_event_cb cb,
                                         void* user_data) {
  return SetCallback(h, &Stub::connected, &Stub::connected_data, cb, user_data, __func__);
}

int rpc_port_stub_add_disconnected_event_cb(rpc_port_stub_h h,
                                            rpc_port_stub_disconnected_event_cb cb,
                                            void* user_data) {
  return SetCallback(h, &Stub::disconnected, &Stub::disconnected_data, cb, user_data, __func__);
}

int rpc_port_stub_add_received_event_cb(rpc_port_stub_h h, rpc_port_stub_received_event_cb cb,
                                        void* user_data) {
  return SetCallback(h, &Stub::received, &Stub::received_data, cb, user_data, __func__);
}

int rpc_port_stub_get_port(rpc_port_stub_h h, rpc_port_port_type_e type, const char* instance,
                           rpc_port_h* port) {
  const FunctionCall call(__func__, instance ? instance : "");
  if (call.error != 0) return call.error;
  const auto stub = FindStub(h, __func__);
  if (!stub || !instance || !port) return RPC_PORT_ERROR_INVALID_PARAMETER;
  const auto found = stub->connections.find(instance);
  if (found == stub->connections.end()) return RPC_PORT_ERROR_IO_ERROR;
  *port = type == RPC_PORT_PORT_MAIN ? found->second.main_port : found->second.callback_port;
  return RPC_PORT_ERROR_NONE;
}

}  // extern "C"

namespace fake {

bool IsListening() { return FindListeningStub().second != nullptr; }

void Connect(const std::string& sender, const std::string& instance) {
  const auto stub = FindListeningStub().second;
  if (!stub) throw std::logic_error("no stub is listening");
  if (stub->connections.count(instance)) throw std::logic_error("connected already: " + instance);
  Connection connection;
  connection.sender = sender;
  connection.main_port = AddPort(instance, RPC_PORT_PORT_MAIN);
  connection.callback_port = AddPort(instance, RPC_PORT_PORT_CALLBACK);
  stub->connections.emplace(instance, connection);
  if (stub->connected) {
    CallBack(stub->connected, sender.c_str(), instance.c_str(), stub->connected_data);
  }
}

void Disconnect(const std::string& instance) { CloseConnection(StubOf(instance).first, instance); }

void DisconnectDuringSend(int nth) { GetState().sends_until_disconnection = nth; }

bool IsConnected(const std::string& instance) {
  for (const auto& [handle, stub] : GetState().stubs.All()) {
    if (stub->connections.count(instance)) return true;
  }
  return false;
}

int Receive(const std::string& instance, const ParcelWriter& parcel) {
  return internal::Receive(instance, parcel.Raw());
}

int internal::Receive(const std::string& instance, Bytes raw) {
  const auto [handle, stub] = StubOf(instance);
  const Connection connection = stub->connections.at(instance);
  // Without a callback the parcel is not read.
  if (!stub->received) return 0;
  GetState().ports.Find(connection.main_port)->incoming.push_back(std::move(raw));
  const int result = CallBack(stub->received, connection.sender.c_str(), instance.c_str(),
                              connection.main_port, stub->received_data);
  if (result != 0) CloseConnection(handle, instance);
  return result;
}

std::vector<ParcelReader> Sent(const std::string& instance, rpc_port_port_type_e type) {
  std::vector<ParcelReader> parcels;
  for (const Bytes& raw : GetState().sent[{instance, type}]) parcels.emplace_back(raw);
  return parcels;
}

}  // namespace fake
