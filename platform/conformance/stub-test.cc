// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <rpc-port.h>

#include "traits.h"

namespace {

class Stub : public conformance::Test {
 protected:
  void SetUp() override {
    Test::SetUp();
    ASSERT_EQ(rpc_port_stub_create(&stub_, "conformance"), RPC_PORT_ERROR_NONE);
  }

  void TearDown() override {
    EXPECT_EQ(rpc_port_stub_destroy(stub_), RPC_PORT_ERROR_NONE);
    Test::TearDown();
  }

  rpc_port_stub_h stub_ = nullptr;
};

DOCUMENTED_TEST(Stub, TakesCallbacksAndPrivilegesBeforeItListens) {
  EXPECT_EQ(rpc_port_stub_add_connected_event_cb(
                stub_, [](const char*, const char*, void*) {}, nullptr),
            RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_stub_add_disconnected_event_cb(
                stub_, [](const char*, const char*, void*) {}, nullptr),
            RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_stub_add_received_event_cb(
                stub_, [](const char*, const char*, rpc_port_h, void*) { return 0; }, nullptr),
            RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_stub_add_privilege(stub_, "http://tizen.org/privilege/datasharing"),
            RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_stub_listen(stub_), RPC_PORT_ERROR_NONE);
}

DOCUMENTED_TEST(Stub, HasNoPortOfAnUnknownConnection) {
  ASSERT_EQ(rpc_port_stub_listen(stub_), RPC_PORT_ERROR_NONE);
  rpc_port_h port = nullptr;
  EXPECT_EQ(rpc_port_stub_get_port(stub_, RPC_PORT_PORT_CALLBACK, "unknown", &port),
            RPC_PORT_ERROR_IO_ERROR);
}

LINUX_TEST(Stub, LeavesTheOutputWhenTheConnectionIsUnknown) {
  ASSERT_EQ(rpc_port_stub_listen(stub_), RPC_PORT_ERROR_NONE);
  rpc_port_h port = nullptr;
  EXPECT_NE(rpc_port_stub_get_port(stub_, RPC_PORT_PORT_CALLBACK, "unknown", &port),
            RPC_PORT_ERROR_NONE);
  EXPECT_EQ(port, nullptr);
}

LINUX_TEST(Stub, IsRefusedAPortThatAnotherListensOn) {
  ASSERT_EQ(rpc_port_stub_listen(stub_), RPC_PORT_ERROR_NONE);
  rpc_port_stub_h second = nullptr;
  ASSERT_EQ(rpc_port_stub_create(&second, "conformance"), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_stub_listen(second), RPC_PORT_ERROR_IO_ERROR);
  EXPECT_EQ(rpc_port_stub_destroy(second), RPC_PORT_ERROR_NONE);
}

LINUX_TEST(Stub, FreesItsPortWhenDestroyed) {
  rpc_port_stub_h first = nullptr;
  ASSERT_EQ(rpc_port_stub_create(&first, "conformance"), RPC_PORT_ERROR_NONE);
  ASSERT_EQ(rpc_port_stub_listen(first), RPC_PORT_ERROR_NONE);
  ASSERT_EQ(rpc_port_stub_destroy(first), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_stub_listen(stub_), RPC_PORT_ERROR_NONE);
}

DOCUMENTED_TEST(Stub, RefusesToDisconnectANullPort) {
  EXPECT_EQ(rpc_port_disconnect(nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
}

LINUX_TEST(Stub, RefusesNullArguments) {
  rpc_port_stub_h stub = nullptr;
  rpc_port_h port = nullptr;
  EXPECT_EQ(rpc_port_stub_create(nullptr, "name"), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_stub_create(&stub, nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(stub, nullptr);
  EXPECT_EQ(rpc_port_stub_destroy(nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_stub_listen(nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_stub_add_privilege(stub_, nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_stub_add_received_event_cb(stub_, nullptr, nullptr),
            RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_stub_get_port(stub_, RPC_PORT_PORT_MAIN, nullptr, &port),
            RPC_PORT_ERROR_INVALID_PARAMETER);
}

}  // namespace
