// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_RPC_PORT_ENDPOINTS_H_
#define PLATFORM_LINUX_TESTS_RPC_PORT_ENDPOINTS_H_

#include <rpc-port-parcel.h>

#include <functional>
#include <string>
#include <vector>

namespace platform::test {

// A message of the tests: a parcel with two strings.
struct Message {
  std::string verb;
  std::string text;
};
int Send(rpc_port_h port, const Message& message);
// Receives a message. False on failure.
bool Take(rpc_port_h port, Message* message);

// A stub of this process that records its events. The hooks run inside the callbacks, after the
// event was recorded.
class TestStub {
 public:
  explicit TestStub(const std::string& port_name, const std::vector<std::string>& privileges = {});
  TestStub(const TestStub&) = delete;
  TestStub& operator=(const TestStub&) = delete;
  ~TestStub() { Destroy(); }

  int Listen() { return rpc_port_stub_listen(handle); }
  void Destroy();
  // A port of the client that connected last; null when it is not connected.
  rpc_port_h Port(rpc_port_port_type_e type) const;

  rpc_port_stub_h handle = nullptr;
  std::string sender;
  std::string instance;
  int connected = 0;
  int disconnected = 0;
  std::vector<std::string> received;
  std::function<void()> on_connected = [] {};
  std::function<void()> on_disconnected = [] {};
  std::function<int(rpc_port_h, const Message&)> on_received = [](auto, auto&) { return 0; };
};

// Like TestStub, for a proxy.
class TestProxy {
 public:
  TestProxy();
  TestProxy(const TestProxy&) = delete;
  TestProxy& operator=(const TestProxy&) = delete;
  ~TestProxy() { Destroy(); }

  int Connect(const std::string& app_id, const std::string& port_name);
  int ConnectSync(const std::string& app_id, const std::string& port_name);
  void Destroy();
  rpc_port_h Port(rpc_port_port_type_e type) const;

  rpc_port_proxy_h handle = nullptr;
  int connected = 0;
  int disconnected = 0;
  int rejected = 0;
  std::vector<std::string> received;
  std::function<void()> on_connected = [] {};
  std::function<void()> on_disconnected = [] {};
  std::function<void()> on_rejected = [] {};
  std::function<void()> on_received = [] {};
};

}  // namespace platform::test

#endif
