// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rpc-port-parcel.h>
#include <rpc-port.h>

#include <string>
#include <vector>

#include "fake-platform.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A stub that answers each parcel with a reply, and a proxy in the process "handler".
class FakeProxyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fake::Reset();
    rpc_port_stub_create(&stub_, "port");
    rpc_port_stub_add_received_event_cb(
        stub_,
        [](const char* sender, const char*, rpc_port_h port, void* self) {
          rpc_port_parcel_h parcel = nullptr;
          rpc_port_parcel_create_from_port(&parcel, port);
          rpc_port_parcel_send(parcel, port);
          rpc_port_parcel_destroy(parcel);
          static_cast<FakeProxyTest*>(self)->events_.push_back(std::string("parcel of ") + sender);
          return 0;
        },
        this);
    rpc_port_stub_add_disconnected_event_cb(
        stub_,
        [](const char*, const char*, void* self) {
          static_cast<FakeProxyTest*>(self)->events_.emplace_back("stub disconnected");
        },
        this);
    rpc_port_stub_listen(stub_);
    const fake::ProcessScope process("handler");
    rpc_port_proxy_create(&proxy_);
    rpc_port_proxy_add_connected_event_cb(
        proxy_,
        [](const char* agent, const char* port, rpc_port_h, void* self) {
          Add(self, std::string("connected to ") + agent + ' ' + port);
        },
        this);
    rpc_port_proxy_add_disconnected_event_cb(
        proxy_, [](const char*, const char*, void* self) { Add(self, "disconnected"); }, this);
    rpc_port_proxy_add_rejected_event_cb(
        proxy_, [](const char*, const char*, void* self) { Add(self, "rejected"); }, this);
    rpc_port_proxy_add_received_event_cb(
        proxy_, [](const char*, const char*, void* self) { Add(self, "received"); }, this);
  }

  static void Add(void* self, const std::string& event) {
    static_cast<FakeProxyTest*>(self)->events_.push_back(event);
  }

  std::string Connect() {
    EXPECT_EQ(rpc_port_proxy_connect(proxy_, "agent", "port"), RPC_PORT_ERROR_NONE);
    const std::string link = fake::Links().back();
    EXPECT_TRUE(fake::DeliverToStub(link));
    EXPECT_TRUE(fake::DeliverToProxy(link));
    return link;
  }
  rpc_port_h Port(rpc_port_port_type_e type) const {
    rpc_port_h port = nullptr;
    rpc_port_proxy_get_port(proxy_, type, &port);
    return port;
  }
  int Send() const {
    rpc_port_parcel_h parcel = nullptr;
    rpc_port_parcel_create(&parcel);
    const int result = rpc_port_parcel_send(parcel, Port(RPC_PORT_PORT_MAIN));
    rpc_port_parcel_destroy(parcel);
    return result;
  }
  int AwaitReply() const {
    rpc_port_parcel_h parcel = nullptr;
    const int result = rpc_port_parcel_create_from_port(&parcel, Port(RPC_PORT_PORT_MAIN));
    if (result == RPC_PORT_ERROR_NONE) rpc_port_parcel_destroy(parcel);
    return result;
  }

  rpc_port_stub_h stub_ = nullptr;
  rpc_port_proxy_h proxy_ = nullptr;
  std::vector<std::string> events_;
};

TEST_F(FakeProxyTest, DeliversInTheOrderOfSending) {
  const std::string link = Connect();
  Send();
  Send();
  EXPECT_TRUE(fake::DeliverToStub(link));
  EXPECT_EQ(AwaitReply(), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(AwaitReply(), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(AwaitReply(), RPC_PORT_ERROR_IO_ERROR);
  EXPECT_FALSE(fake::DeliverToStub(link));
  EXPECT_THAT(events_,
              ElementsAre("connected to agent port", "parcel of handler", "parcel of handler"));
}

TEST_F(FakeProxyTest, DeliversCallbacks) {
  const std::string link = Connect();
  rpc_port_h port = nullptr;
  rpc_port_stub_get_port(stub_, RPC_PORT_PORT_CALLBACK, link.c_str(), &port);
  rpc_port_parcel_h parcel = nullptr;
  rpc_port_parcel_create(&parcel);
  rpc_port_parcel_write_int32(parcel, 5);
  rpc_port_parcel_send(parcel, port);
  rpc_port_parcel_destroy(parcel);
  EXPECT_EQ(fake::NextToProxy(link)->Int32(), 5);
  EXPECT_TRUE(fake::DeliverToProxy(link));
  EXPECT_FALSE(fake::NextToProxy(link));
  EXPECT_EQ(events_.back(), "received");
}

TEST_F(FakeProxyTest, RejectsWhenTheStubIsGone) {
  rpc_port_proxy_connect(proxy_, "agent", "port");
  rpc_port_stub_destroy(stub_);
  EXPECT_TRUE(fake::DeliverToProxy(fake::Links().back()));
  EXPECT_THAT(events_, ElementsAre("rejected"));
  EXPECT_THAT(fake::Links(), IsEmpty());
  EXPECT_EQ(rpc_port_proxy_connect(proxy_, "agent", "port"), RPC_PORT_ERROR_IO_ERROR);
}

TEST_F(FakeProxyTest, StubReceivesWhatWasSentBeforeTheProxyWasDestroyed) {
  const std::string link = Connect();
  Send();
  rpc_port_proxy_destroy(proxy_);
  EXPECT_TRUE(fake::DeliverToStub(link));
  EXPECT_TRUE(fake::DeliverToStub(link));
  EXPECT_THAT(events_,
              ElementsAre("connected to agent port", "parcel of handler", "stub disconnected"));
  EXPECT_THAT(fake::Links(), IsEmpty());
}

TEST_F(FakeProxyTest, BreakLosesWhatIsOnItsWay) {
  const std::string link = Connect();
  Send();
  fake::Break(link);
  EXPECT_FALSE(fake::DeliverToStub(link));
  EXPECT_TRUE(fake::DeliverToProxy(link));
  EXPECT_THAT(events_, ElementsAre("connected to agent port", "stub disconnected", "disconnected"));
  EXPECT_EQ(Send(), RPC_PORT_ERROR_IO_ERROR);
}

TEST_F(FakeProxyTest, DeadProcessesSendNothing) {
  const std::string link = Connect();
  fake::SetAlive("handler", false);
  EXPECT_EQ(Send(), RPC_PORT_ERROR_IO_ERROR);
  EXPECT_EQ(AwaitReply(), RPC_PORT_ERROR_IO_ERROR);
  fake::SetAlive("handler", true);
  EXPECT_EQ(Send(), RPC_PORT_ERROR_NONE);
  fake::SetAlive("", false);
  EXPECT_TRUE(fake::DeliverToStub(link));
  EXPECT_THAT(fake::Sent(link, RPC_PORT_PORT_MAIN), IsEmpty());
}

TEST_F(FakeProxyTest, CallsTheReplyWaiter) {
  const std::string link = Connect();
  std::string waited;
  fake::SetReplyWaiter([&waited](const std::string& name) { waited = name; });
  Send();
  EXPECT_EQ(AwaitReply(), RPC_PORT_ERROR_IO_ERROR);
  EXPECT_EQ(waited, link);
}

TEST(FakeIdleEnterer, RunsInOrderUntilItIsDone) {
  fake::Reset();
  static std::string order;
  order.clear();
  ecore_idle_enterer_add(
      [](void*) -> Eina_Bool {
        order += 'b';
        return ECORE_CALLBACK_CANCEL;
      },
      nullptr);
  auto* const first = ecore_idle_enterer_before_add(
      [](void*) -> Eina_Bool {
        order += 'a';
        return ECORE_CALLBACK_RENEW;
      },
      nullptr);
  fake::RunIdleEnterers();
  fake::RunIdleEnterers();
  ecore_idle_enterer_del(first);
  fake::RunIdleEnterers();
  EXPECT_EQ(order, "aba");
  EXPECT_EQ(fake::OpenHandles(), "");
}

}  // namespace
