// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <tizen.h>

#include "recording-service.h"

namespace {

using rpc_port::stub::Command;
using support::CommandHandler;
using support::HandlerPeer;

// Commands sent to a connection.
class StubCallback : public support::StubTest {
 protected:
  void SetUp() override {
    StubTest::SetUp();
    peer_ = std::make_unique<HandlerPeer>("app", "one");
  }

  void Register(bool once) {
    ASSERT_EQ(peer_->Fetch(7, once), 0);
    ASSERT_NE(script_.callback, nullptr);
  }

  std::unique_ptr<HandlerPeer> peer_;
};

TEST_F(StubCallback, SendsEveryFieldInOrder) {
  Register(false);
  Command command("uuid", "type", "{}", -5, {});
  bundle_add_str(command.extra.GetHandle(), "key", "value");
  script_.callback->Invoke("argument", command);
  const auto parcels = fake::Sent("one", RPC_PORT_PORT_CALLBACK);
  ASSERT_EQ(parcels.size(), 1u);
  EXPECT_EQ(parcels[0].Tag(), "");
  const auto deliveries = peer_->Deliveries();
  ASSERT_EQ(deliveries.size(), 1u);
  EXPECT_EQ(deliveries[0].callback_id, 1);
  EXPECT_EQ(deliveries[0].callback_sequence, 7);
  EXPECT_FALSE(deliveries[0].once);
  EXPECT_EQ(deliveries[0].argument, "argument");
  EXPECT_EQ(deliveries[0].uuid, "uuid");
  EXPECT_EQ(deliveries[0].request_type, "type");
  EXPECT_EQ(deliveries[0].payload, "{}");
  EXPECT_EQ(deliveries[0].timestamp, -5);
  EXPECT_EQ(deliveries[0].extra, (std::map<std::string, std::string>{{"key", "value"}}));
}

TEST_F(StubCallback, CanBeInvokedAgain) {
  Register(false);
  script_.callback->Invoke("a", Command());
  script_.callback->Invoke("b", Command());
  EXPECT_EQ(peer_->Deliveries().size(), 2u);
}

TEST_F(StubCallback, CanBeInvokedOnlyOnceIfMarked) {
  Register(true);
  script_.callback->Invoke("a", Command());
  EXPECT_THROW(script_.callback->Invoke("b", Command()),
               rpc_port::stub::stub::InvalidCallbackException);
  ASSERT_EQ(peer_->Deliveries().size(), 1u);
  EXPECT_TRUE(peer_->Deliveries()[0].once);
}

TEST_F(StubCallback, ThrowsAfterDisconnect) {
  Register(false);
  peer_->Disconnect();
  EXPECT_THROW(script_.callback->Invoke("a", Command()),
               rpc_port::stub::stub::NotConnectedSocketException);
  EXPECT_EQ(fake::CallCount("rpc_port_parcel_send"), 0);
}

TEST_F(StubCallback, CanBeDestroyedByDisconnectDuringSend) {
  Register(false);
  script_.on_call = [this](const std::string& call) {
    if (call == "terminate one") script_.callback.reset();
  };
  fake::DisconnectDuringSend();
  script_.callback->Invoke("a", Command());
  EXPECT_EQ(script_.callback, nullptr);
  EXPECT_EQ(get_last_result(), RPC_PORT_ERROR_IO_ERROR);
}

TEST_F(StubCallback, ThrowsAfterDisconnectDuringCall) {
  script_.on_call = [this](const std::string& call) {
    if (call != "fetch one") return;
    peer_->Disconnect();
    EXPECT_THROW(script_.callback->Invoke("a", Command()),
                 rpc_port::stub::stub::NotConnectedSocketException);
  };
  EXPECT_EQ(peer_->Fetch(7, false), -1);
  EXPECT_EQ(fake::CallCount("rpc_port_parcel_send"), 0);
}

TEST_F(StubCallback, SetsLastResultToResultOfSending) {
  Register(false);
  fake::Fail("rpc_port_parcel_send", RPC_PORT_ERROR_IO_ERROR);
  script_.callback->Invoke("a", Command());
  EXPECT_EQ(get_last_result(), RPC_PORT_ERROR_IO_ERROR);
  script_.callback->Invoke("b", Command());
  EXPECT_EQ(get_last_result(), RPC_PORT_ERROR_NONE);
}

TEST_F(StubCallback, CannotBeInvokedAgainAfterFailedSendIfMarkedOnce) {
  Register(true);
  fake::Fail("rpc_port_parcel_send", RPC_PORT_ERROR_IO_ERROR);
  script_.callback->Invoke("a", Command());
  EXPECT_THROW(script_.callback->Invoke("b", Command()),
               rpc_port::stub::stub::InvalidCallbackException);
}

TEST_F(StubCallback, KeepsHeaderOfProxy) {
  ASSERT_EQ(fake::Receive("one", fake::ParcelWriter()
                                     .Int32(support::kMethodSetCommandReceivedCb)
                                     .Int32(9)
                                     .Int32(-3)
                                     .Bool(true)),
            0);
  EXPECT_EQ(script_.callback->GetTag(), "9::-3");
  script_.callback->Invoke("a", Command());
  EXPECT_EQ(peer_->Deliveries()[0].callback_id, 9);
  EXPECT_EQ(peer_->Deliveries()[0].callback_sequence, -3);
  EXPECT_TRUE(peer_->Deliveries()[0].once);
}

TEST_F(StubCallback, HasOwnHeaderWhenProxySendsNone) {
  ASSERT_EQ(fake::Receive("one", fake::ParcelWriter().Int32(support::kMethodSetCommandReceivedCb)),
            0);
  EXPECT_EQ(script_.callback->GetId(), 1);
  EXPECT_FALSE(script_.callback->IsOnce());
}

TEST_F(StubCallback, TakesSequenceNumbersFromOneCounter) {
  const CommandHandler::CallbackBase first(1, false);
  const CommandHandler::CallbackBase second(2, true);
  EXPECT_EQ(second.GetSeqId(), first.GetSeqId() + 1);
  EXPECT_EQ(second.GetTag(), "2::" + std::to_string(second.GetSeqId()));
  EXPECT_TRUE(second.IsOnce());
}

TEST_F(StubCallback, HasTagOfIdAndSequenceNumber) {
  ASSERT_EQ(peer_->Fetch(0), 0);
  EXPECT_EQ(script_.callback->GetTag(), "1::0");
}

}  // namespace
