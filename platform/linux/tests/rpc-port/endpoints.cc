// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/tests/rpc-port/endpoints.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace platform::test {
namespace {

std::string ReadString(rpc_port_parcel_h parcel) {
  char* raw = nullptr;
  EXPECT_EQ(rpc_port_parcel_read_string(parcel, &raw), RPC_PORT_ERROR_NONE);
  const std::string text(raw == nullptr ? "" : raw);
  std::free(raw);
  return text;
}

void StubConnected(const char* sender, const char* instance, void* data) {
  auto* stub = static_cast<TestStub*>(data);
  ++stub->connected;
  stub->sender = sender;
  stub->instance = instance;
  stub->on_connected();
}

void StubDisconnected(const char*, const char*, void* data) {
  auto* stub = static_cast<TestStub*>(data);
  ++stub->disconnected;
  stub->on_disconnected();
}

int StubReceived(const char*, const char*, rpc_port_h port, void* data) {
  auto* stub = static_cast<TestStub*>(data);
  Message message;
  if (!Take(port, &message)) return -1;
  stub->received.push_back(message.text);
  return stub->on_received(port, message);
}

void ProxyConnected(const char*, const char*, rpc_port_h port, void* data) {
  auto* proxy = static_cast<TestProxy*>(data);
  ++proxy->connected;
  EXPECT_EQ(port, proxy->Port(RPC_PORT_PORT_MAIN));
  proxy->on_connected();
}

void ProxyDisconnected(const char*, const char*, void* data) {
  auto* proxy = static_cast<TestProxy*>(data);
  ++proxy->disconnected;
  proxy->on_disconnected();
}

void ProxyRejected(const char*, const char*, void* data) {
  auto* proxy = static_cast<TestProxy*>(data);
  ++proxy->rejected;
  proxy->on_rejected();
}

void ProxyReceived(const char*, const char*, void* data) {
  auto* proxy = static_cast<TestProxy*>(data);
  Message message;
  if (Take(proxy->Port(RPC_PORT_PORT_CALLBACK), &message)) proxy->received.push_back(message.text);
  proxy->on_received();
}

}  // namespace

int Send(rpc_port_h port, const Message& message) {
  rpc_port_parcel_h parcel = nullptr;
  EXPECT_EQ(rpc_port_parcel_create(&parcel), RPC_PORT_ERROR_NONE);
  rpc_port_parcel_write_string(parcel, message.verb.c_str());
  rpc_port_parcel_write_string(parcel, message.text.c_str());
  const int result = rpc_port_parcel_send(parcel, port);
  rpc_port_parcel_destroy(parcel);
  return result;
}

bool Take(rpc_port_h port, Message* message) {
  rpc_port_parcel_h parcel = nullptr;
  if (rpc_port_parcel_create_from_port(&parcel, port) != RPC_PORT_ERROR_NONE) return false;
  message->verb = ReadString(parcel);
  message->text = ReadString(parcel);
  rpc_port_parcel_destroy(parcel);
  return true;
}

TestStub::TestStub(const std::string& port_name, const std::vector<std::string>& privileges) {
  EXPECT_EQ(rpc_port_stub_create(&handle, port_name.c_str()), RPC_PORT_ERROR_NONE);
  for (const std::string& privilege : privileges) {
    EXPECT_EQ(rpc_port_stub_add_privilege(handle, privilege.c_str()), RPC_PORT_ERROR_NONE);
  }
  rpc_port_stub_add_connected_event_cb(handle, StubConnected, this);
  rpc_port_stub_add_disconnected_event_cb(handle, StubDisconnected, this);
  rpc_port_stub_add_received_event_cb(handle, StubReceived, this);
}

void TestStub::Destroy() {
  if (handle != nullptr) rpc_port_stub_destroy(handle);
  handle = nullptr;
}

rpc_port_h TestStub::Port(rpc_port_port_type_e type) const {
  rpc_port_h port = nullptr;
  rpc_port_stub_get_port(handle, type, instance.c_str(), &port);
  return port;
}

TestProxy::TestProxy() {
  EXPECT_EQ(rpc_port_proxy_create(&handle), RPC_PORT_ERROR_NONE);
  rpc_port_proxy_add_connected_event_cb(handle, ProxyConnected, this);
  rpc_port_proxy_add_disconnected_event_cb(handle, ProxyDisconnected, this);
  rpc_port_proxy_add_rejected_event_cb(handle, ProxyRejected, this);
  rpc_port_proxy_add_received_event_cb(handle, ProxyReceived, this);
}

int TestProxy::Connect(const std::string& app_id, const std::string& port_name) {
  return rpc_port_proxy_connect(handle, app_id.c_str(), port_name.c_str());
}

int TestProxy::ConnectSync(const std::string& app_id, const std::string& port_name) {
  return rpc_port_proxy_connect_sync(handle, app_id.c_str(), port_name.c_str());
}

void TestProxy::Destroy() {
  if (handle != nullptr) rpc_port_proxy_destroy(handle);
  handle = nullptr;
}

rpc_port_h TestProxy::Port(rpc_port_port_type_e type) const {
  rpc_port_h port = nullptr;
  rpc_port_proxy_get_port(handle, type, &port);
  return port;
}

}  // namespace platform::test
