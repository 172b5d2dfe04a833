// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Admission of processes to a stub.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/linux/tests/rpc-port/endpoints.h"
#include "platform/linux/tests/support/peer-process.h"
#include "platform/linux/tests/support/test-root.h"

using namespace platform::test;

namespace {

constexpr char kLaunch[] = "http://tizen.org/privilege/appmanager.launch";
constexpr char kSharing[] = "http://tizen.org/privilege/datasharing";
constexpr char kExtra[] = "http://example.org/privilege/extra";

class Admission : public testing::Test {
 protected:
  // Connects a peer with the executable to a stub with the privileges. Returns the reported event.
  std::string Connect(const std::string& executable, const std::vector<std::string>& privileges) {
    TestStub stub("port", privileges);
    EXPECT_EQ(stub.Listen(), RPC_PORT_ERROR_NONE);
    PeerProcess peer(executable);
    const std::string event = peer.Ask("connect " + OwnAppId() + " port");
    sender_ = stub.sender;
    EXPECT_EQ(stub.connected, event == "connected" ? 1 : 0);
    return event;
  }

  TestRoot root_;
  std::string sender_;
};

}  // namespace

TEST_F(Admission, AdmitsApplicationWithAllPrivileges) {
  const auto peer = root_.InstallPeer("org.example.peer", {kLaunch, kSharing, kExtra});
  EXPECT_EQ(Connect(peer, {kSharing, kExtra}), "connected");
  EXPECT_EQ(sender_, "org.example.peer");
}

TEST_F(Admission, RejectsApplicationWithMissingPrivilege) {
  const auto peer = root_.InstallPeer("org.example.peer", {kLaunch, kSharing});
  EXPECT_EQ(Connect(peer, {kSharing, kExtra}), "rejected");
}

TEST_F(Admission, RejectsOtherProcessWhenPrivilegesAreRequired) {
  EXPECT_EQ(Connect(PEER_EXECUTABLE, {kSharing}), "rejected");
}

TEST_F(Admission, AdmitsAnyProcessWhenNoneIsRequired) {
  EXPECT_EQ(Connect(PEER_EXECUTABLE, {}), "connected");
}

TEST_F(Admission, PreventsConnectWithoutProxyPrivileges) {
  const auto peer = root_.InstallPeer("org.example.peer", {kLaunch});
  EXPECT_EQ(Connect(peer, {}), "connect -13");
}
