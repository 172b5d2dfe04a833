// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_TESTS_AGENT_PORT_H_
#define QOR_HANDLER_TESTS_AGENT_PORT_H_

#include <gtest/gtest.h>
#include <rpc-port-parcel.h>
#include <rpc-port.h>

#include <string>

namespace qor::test {

// The port of an agent that sends nothing. Records the connecting handlers and counts their calls.
class AgentPort {
 public:
  enum class OnResult { kIgnore, kClose };

  explicit AgentPort(OnResult on_result = OnResult::kIgnore) : on_result_(on_result) {
    rpc_port_stub_create(&stub_, "CommandHandler");
    rpc_port_stub_add_connected_event_cb(
        stub_,
        [](const char* sender, const char*, void* self) {
          static_cast<AgentPort*>(self)->connected_ += std::string(sender) + " ";
        },
        this);
    rpc_port_stub_add_received_event_cb(
        stub_,
        [](const char*, const char*, rpc_port_h port, void* self) {
          return static_cast<AgentPort*>(self)->OnReceived(port);
        },
        this);
    EXPECT_EQ(rpc_port_stub_listen(stub_), RPC_PORT_ERROR_NONE);
  }
  AgentPort(const AgentPort&) = delete;
  AgentPort& operator=(const AgentPort&) = delete;
  ~AgentPort() { rpc_port_stub_destroy(stub_); }

  // Application ids of all handlers that have connected, each followed by a space.
  const std::string& Connected() const { return connected_; }
  int CountReceived() const { return received_; }

 private:
  static constexpr int kSendResult = 3;

  // Closes the connection by a result other than 0.
  int OnReceived(rpc_port_h port) {
    rpc_port_parcel_h parcel = nullptr;
    rpc_port_parcel_create_from_port(&parcel, port);
    int method = 0;
    rpc_port_parcel_read_int32(parcel, &method);
    rpc_port_parcel_destroy(parcel);
    ++received_;
    return on_result_ == OnResult::kClose && method == kSendResult ? -1 : 0;
  }

  const OnResult on_result_;
  rpc_port_stub_h stub_ = nullptr;
  std::string connected_;
  int received_ = 0;
};

}  // namespace qor::test

#endif
