// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Ownership of ports, and invalid ports.

#include <Ecore.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/linux/tests/rpc-port/endpoints.h"
#include "platform/linux/tests/support/peer-process.h"
#include "platform/linux/tests/support/test-root.h"

using namespace platform::test;

namespace {

constexpr char kPeerId[] = "host.platform_rpc_peer";

}  // namespace

TEST(Ownership, RejectsSecondOwnerInSameProcess) {
  const TestRoot root;
  TestStub first("port");
  TestStub second("port");
  TestStub other("other-port");
  EXPECT_EQ(first.Listen(), RPC_PORT_ERROR_NONE);
  testing::internal::CaptureStderr();
  EXPECT_EQ(second.Listen(), RPC_PORT_ERROR_IO_ERROR);
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("E RPC_PORT"), std::string::npos) << log;
  EXPECT_NE(log.find("\"port\" of " + OwnAppId()), std::string::npos) << log;
  EXPECT_EQ(other.Listen(), RPC_PORT_ERROR_NONE);
}

TEST(Ownership, RejectsSecondOwnerInAnotherProcess) {
  const TestRoot root;
  PeerProcess first;
  PeerProcess second;
  EXPECT_EQ(first.Ask("listen port"), "listen 0");
  EXPECT_EQ(second.Ask("listen port"), "listen -5");
  TestProxy proxy;
  EXPECT_EQ(proxy.ConnectSync(kPeerId, "port"), RPC_PORT_ERROR_NONE);
}

TEST(Ownership, ReplacesStaleSocket) {
  const TestRoot root;
  const std::string socket = root.path() + "/run/ports/" + kPeerId + "/port";
  PeerProcess first;
  ASSERT_EQ(first.Ask("listen port"), "listen 0");
  first.Kill();
  ASSERT_TRUE(std::filesystem::exists(socket));
  TestProxy proxy;
  EXPECT_EQ(proxy.Connect(kPeerId, "port"), RPC_PORT_ERROR_IO_ERROR);
  PeerProcess second;
  EXPECT_EQ(second.Ask("listen port"), "listen 0");
  EXPECT_EQ(proxy.ConnectSync(kPeerId, "port"), RPC_PORT_ERROR_NONE);
}

TEST(Ownership, IsReleasedWithStub) {
  const TestRoot root;
  const std::string socket = root.path() + "/run/ports/" + OwnAppId() + "/port";
  TestStub first("port");
  TestStub second("port");
  ASSERT_EQ(first.Listen(), RPC_PORT_ERROR_NONE);
  EXPECT_TRUE(std::filesystem::exists(socket));
  first.Destroy();
  EXPECT_FALSE(std::filesystem::exists(socket));
  EXPECT_EQ(second.Listen(), RPC_PORT_ERROR_NONE);
}

TEST(Ownership, FailsBelowReadOnlyRoot) {
  const TestRoot root;
  setenv("QOR_PLATFORM_ROOT", "/proc/no-root", 1);
  TestStub stub("port");
  testing::internal::CaptureStderr();
  EXPECT_EQ(stub.Listen(), RPC_PORT_ERROR_IO_ERROR);
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("E RPC_PORT"), std::string::npos) << log;
  EXPECT_NE(log.find("/proc/no-root"), std::string::npos) << log;
}

TEST(Ownership, RejectsInvalidPortNames) {
  const TestRoot root;
  rpc_port_stub_h stub = nullptr;
  TestProxy proxy;
  for (const char* name : {"", ".", "..", "a/b", "../port"}) {
    EXPECT_EQ(rpc_port_stub_create(&stub, name), RPC_PORT_ERROR_INVALID_PARAMETER) << name;
    EXPECT_EQ(proxy.Connect("host.any", name), RPC_PORT_ERROR_INVALID_PARAMETER) << name;
    EXPECT_EQ(proxy.Connect(name, "port"), RPC_PORT_ERROR_INVALID_PARAMETER) << name;
  }
}

TEST(StubAlone, KeepsEcoreInitialized) {
  const TestRoot root;
  ecore_init();
  TestStub stub("port");
  ASSERT_EQ(stub.Listen(), RPC_PORT_ERROR_NONE);
  EXPECT_GT(ecore_shutdown(), 0);
  stub.Destroy();
  EXPECT_EQ(TestStub("port").Listen(), RPC_PORT_ERROR_NONE);
}

TEST(Handles, AreRejectedWhenNullStaleOrInvalid) {
  const TestRoot root;
  TestStub stub("port");
  TestProxy proxy;
  rpc_port_h port = nullptr;
  int foreign = 0;
  EXPECT_EQ(rpc_port_stub_create(nullptr, "port"), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_stub_listen(nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_stub_listen(proxy.handle), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_stub_add_privilege(stub.handle, nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_stub_add_received_event_cb(stub.handle, nullptr, nullptr),
            RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_stub_get_port(stub.handle, RPC_PORT_PORT_MAIN, "unknown", &port),
            RPC_PORT_ERROR_IO_ERROR);
  EXPECT_EQ(rpc_port_stub_get_port(stub.handle, RPC_PORT_PORT_MAIN, nullptr, &port),
            RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_proxy_create(nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_proxy_connect(proxy.handle, nullptr, "port"),
            RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_proxy_get_port(proxy.handle, RPC_PORT_PORT_MAIN, &port),
            RPC_PORT_ERROR_IO_ERROR);
  EXPECT_EQ(rpc_port_disconnect(nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_disconnect(&foreign), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_disconnect(stub.handle), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_stub_destroy(stub.handle), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_stub_destroy(stub.handle), RPC_PORT_ERROR_INVALID_PARAMETER);
}
