// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "ipc/stub.h"

#include "recording-service.h"

namespace {

using rpc_port::stub::Command;
using rpc_port::stub::Result;
using support::CommandHandler;
using support::CountStubErrors;
using support::HandlerPeer;
using support::kStubTag;
using support::RecordingFactory;
using support::Script;
using Strings = std::vector<std::string>;

class Stub : public support::StubTest {};

TEST_F(Stub, IsSetUpInOrder) {
  Strings calls;
  for (const auto& call : fake::Calls()) calls.push_back(call.function + " " + call.detail);
  EXPECT_EQ(
      calls,
      (Strings{"rpc_port_stub_create CommandHandler", "rpc_port_stub_add_connected_event_cb ",
               "rpc_port_stub_add_disconnected_event_cb ", "rpc_port_stub_add_received_event_cb ",
               "rpc_port_stub_add_privilege http://tizen.org/privilege/datasharing",
               "rpc_port_stub_add_privilege http://tizen.org/privilege/appmanager.launch",
               "rpc_port_stub_listen "}));
}

TEST_F(Stub, CreatesServiceForEachConnection) {
  fake::Connect("app", "one");
  EXPECT_EQ(script_.calls, (Strings{"service app one", "create one"}));
}

TEST_F(Stub, DropsServiceWithoutCallbackPort) {
  fake::Fail("rpc_port_stub_get_port", RPC_PORT_ERROR_IO_ERROR);
  fake::Connect("app", "one");
  EXPECT_EQ(script_.calls, (Strings{"service app one", "destroyed one"}));
  EXPECT_EQ(CountStubErrors("OnConnectedCB", "Failed to get the port(-5)"), 1);
}

TEST_F(Stub, TerminatesServiceOnDisconnect) {
  HandlerPeer peer("app", "one");
  script_.calls.clear();
  peer.Disconnect();
  EXPECT_EQ(script_.calls, (Strings{"terminate one", "destroyed one"}));
}

TEST_F(Stub, IgnoresDisconnectOfUnknownConnection) {
  fake::Fail("rpc_port_stub_get_port", RPC_PORT_ERROR_IO_ERROR);
  HandlerPeer peer("app", "one");
  script_.calls.clear();
  peer.Disconnect();
  EXPECT_TRUE(script_.calls.empty());
}

TEST_F(Stub, DistinguishesConnectionsOfOneApplication) {
  HandlerPeer first("app", "one");
  HandlerPeer second("app", "two");
  first.Disconnect();
  script_.calls.clear();
  EXPECT_EQ(second.Negotiate("uuid", 1.5), 0);
  EXPECT_EQ(script_.calls, Strings{"negotiate two uuid 1.500000"});
}

TEST_F(Stub, TerminatesServicesInConnectionOrderBeforeDestruction) {
  fake::Connect("app", "two");
  fake::Connect("app", "one");
  script_.calls.clear();
  script_.on_call = [](const std::string&) {
    EXPECT_EQ(fake::CallCount("rpc_port_stub_destroy"), 0);
  };
  stub_.reset();
  EXPECT_EQ(script_.calls,
            (Strings{"terminate two", "terminate one", "destroyed two", "destroyed one"}));
  EXPECT_EQ(fake::CallCount("rpc_port_stub_destroy"), 1);
}

TEST_F(Stub, RejectsParcelOfUnknownConnection) {
  fake::Fail("rpc_port_stub_get_port", RPC_PORT_ERROR_IO_ERROR);
  HandlerPeer peer("app", "one");
  EXPECT_EQ(peer.Negotiate("uuid", 1.0), -1);
  EXPECT_EQ(CountStubErrors("OnReceivedCB", "Failed to find CommandHandler context(one)"), 1);
}

TEST_F(Stub, RegistersCallbackWithoutReply) {
  HandlerPeer peer("app", "one");
  EXPECT_EQ(peer.Fetch(7, true), 0);
  EXPECT_EQ(peer.LastReply(), std::nullopt);
  ASSERT_NE(script_.callback, nullptr);
  EXPECT_EQ(script_.callback->GetId(), 1);
  EXPECT_EQ(script_.callback->GetSeqId(), 7);
  EXPECT_TRUE(script_.callback->IsOnce());
  EXPECT_EQ(script_.callback->GetTag(), "1::7");
}

TEST_F(Stub, RegistersCallbackWithoutCallbackPort) {
  HandlerPeer peer("app", "one");
  fake::Fail("rpc_port_stub_get_port", RPC_PORT_ERROR_IO_ERROR);
  EXPECT_EQ(peer.Fetch(), 0);
  EXPECT_EQ(CountStubErrors("OnReceivedCB", "Failed to get callback port"), 1);
  ASSERT_NE(script_.callback, nullptr);
  EXPECT_THROW(script_.callback->Invoke("uuid", Command()),
               rpc_port::stub::stub::NotConnectedSocketException);
}

TEST_F(Stub, PassesEachFieldOfResult) {
  HandlerPeer peer("app", "one");
  EXPECT_EQ(peer.Answer("uuid", "{\"a\":1}", 5, "{\"b\":2}"), 0);
  EXPECT_EQ(peer.LastReply(), true);
  EXPECT_EQ(script_.last_result.uuid, "uuid");
  EXPECT_EQ(script_.last_result.result, "{\"a\":1}");
  EXPECT_EQ(script_.last_result.status, 5);
  EXPECT_EQ(script_.last_result.error, "{\"b\":2}");
  char* extra = nullptr;
  ASSERT_EQ(bundle_get_str(script_.last_result.extra.GetHandle(), "extra", &extra), 0);
  EXPECT_STREQ(extra, "of the handler");
  script_.last_result = Result();
  EXPECT_EQ(fake::OpenHandles("bundle"), 1);
  script_.last_result.extra = rpc_port::stub::Bundle(nullptr);
}

TEST_F(Stub, RepliesWithResultOfService) {
  HandlerPeer peer("app", "one");
  EXPECT_EQ(peer.Answer("uuid"), 0);
  EXPECT_EQ(peer.LastReply(), true);
  EXPECT_EQ(peer.Negotiate("uuid", 2.0), 0);
  EXPECT_EQ(peer.LastReply(), true);
  script_.answer = false;
  EXPECT_EQ(peer.Answer("uuid"), 0);
  EXPECT_EQ(peer.LastReply(), false);
  EXPECT_EQ(peer.Negotiate("uuid", 2.0), 0);
  EXPECT_EQ(peer.LastReply(), false);
  EXPECT_TRUE(fake::IsConnected("one"));
  script_.last_result.extra = rpc_port::stub::Bundle(nullptr);
}

TEST_F(Stub, RepliesWithSequenceNumberOfRequest) {
  fake::Connect("app", "one");
  fake::Receive("one", fake::ParcelWriter()
                           .SequenceNumber(4711)
                           .Int32(support::kMethodNegotiateTimeout)
                           .String("uuid")
                           .Double(1.0));
  const auto replies = fake::Sent("one", RPC_PORT_PORT_MAIN);
  ASSERT_EQ(replies.size(), 1u);
  EXPECT_EQ(replies[0].SequenceNumber(), 4711);
  EXPECT_EQ(replies[0].Tag(), "1.10.4");
}

TEST_F(Stub, RepliesWithMinusOneWithoutSequenceNumber) {
  for (const char* function :
       {"rpc_port_parcel_header_get_seq_num", "rpc_port_parcel_get_header"}) {
    HandlerPeer peer("app", function);
    fake::Fail(function, RPC_PORT_ERROR_INVALID_PARAMETER);
    fake::Receive(function, fake::ParcelWriter()
                                .SequenceNumber(4711)
                                .Int32(support::kMethodNegotiateTimeout)
                                .String("uuid")
                                .Double(1.0));
    const auto replies = fake::Sent(function, RPC_PORT_PORT_MAIN);
    ASSERT_EQ(replies.size(), 1u) << function;
    EXPECT_EQ(replies[0].SequenceNumber(), -1) << function;
  }
}

TEST_F(Stub, RejectsUnknownMethods) {
  for (const int method : {0, 1, 5, -1, 1000000}) {
    const std::string instance = "connection " + std::to_string(method);
    fake::Connect("app", instance);
    EXPECT_EQ(fake::Receive(instance, fake::ParcelWriter().Int32(method)), -1);
    EXPECT_EQ(CountStubErrors("OnReceivedCB", "Unknown command(" + std::to_string(method) + ")"), 1)
        << method;
    EXPECT_TRUE(fake::Sent(instance, RPC_PORT_PORT_MAIN).empty());
    EXPECT_FALSE(fake::IsConnected(instance));
  }
  EXPECT_EQ(fake::OpenHandles("parcel"), 0);
}

TEST_F(Stub, RejectsParcelWithoutMethod) {
  fake::Connect("app", "one");
  EXPECT_EQ(fake::Receive("one", fake::ParcelWriter()), -1);
}

TEST_F(Stub, UsesDefaultsForMissingFields) {
  fake::Connect("app", "one");
  EXPECT_EQ(fake::Receive("one", fake::ParcelWriter().Int32(support::kMethodSendResult)), 0);
  EXPECT_EQ(script_.last_result.uuid, "");
  EXPECT_EQ(script_.last_result.result, "");
  EXPECT_EQ(script_.last_result.status, 0);
  EXPECT_EQ(script_.last_result.error, "");
  EXPECT_EQ(bundle_get_count(script_.last_result.extra.GetHandle()), 0);
  EXPECT_EQ(fake::Receive("one",
                          fake::ParcelWriter().Int32(support::kMethodNegotiateTimeout).String("u")),
            0);
  EXPECT_EQ(script_.calls.back(), "negotiate one u 0.000000");
  script_.last_result.extra = rpc_port::stub::Bundle(nullptr);
}

TEST_F(Stub, ReturnsErrorOfReadingParcel) {
  HandlerPeer peer("app", "one");
  fake::Fail("rpc_port_parcel_create_from_port", RPC_PORT_ERROR_OUT_OF_MEMORY);
  EXPECT_EQ(peer.Negotiate("uuid", 1.0), RPC_PORT_ERROR_OUT_OF_MEMORY);
  EXPECT_EQ(CountStubErrors("OnReceivedCB", "Failed to create parcel from port"), 1);
}

TEST_F(Stub, ReturnsResultOfSendingReply) {
  HandlerPeer peer("app", "one");
  fake::Fail("rpc_port_parcel_send", RPC_PORT_ERROR_IO_ERROR);
  EXPECT_EQ(peer.Negotiate("uuid", 1.0), RPC_PORT_ERROR_IO_ERROR);
  EXPECT_EQ(fake::CallCount("rpc_port_parcel_send"), 1);
}

TEST_F(Stub, SurvivesDisconnectDuringReply) {
  HandlerPeer peer("app", "one");
  fake::DisconnectDuringSend();
  EXPECT_EQ(peer.Answer("uuid"), RPC_PORT_ERROR_IO_ERROR);
  EXPECT_EQ(script_.calls.back(), "destroyed one");
  script_.last_result.extra = rpc_port::stub::Bundle(nullptr);
}

TEST_F(Stub, SendsNoReplyAfterDisconnect) {
  HandlerPeer peer("app", "one");
  script_.on_call = [&peer](const std::string& call) {
    if (call == "result one uuid") peer.Disconnect();
  };
  EXPECT_EQ(peer.Answer("uuid"), -1);
  EXPECT_EQ(fake::CallCount("rpc_port_parcel_send"), 0);
  script_.last_result.extra = rpc_port::stub::Bundle(nullptr);
}

TEST_F(Stub, UsesFactoryOfLastListen) {
  Script other;
  stub_->Listen(std::make_shared<RecordingFactory>(&other));
  fake::Connect("app", "one");
  EXPECT_TRUE(script_.calls.empty());
  EXPECT_EQ(other.calls.size(), 2u);
  stub_.reset();
}

TEST_F(Stub, KeepsPortWhenDisconnectSucceeds) {
  fake::Connect("app", "one");
  // The platform closes the connection and terminates the service during the call.
  EXPECT_NO_THROW(factory_->last_service->Disconnect());
  EXPECT_EQ(CountStubErrors("Disconnect", "Failed to disconnect the port(0)"), 1);
}

TEST_F(Stub, ClearsPortWhenDisconnectFails) {
  fake::Connect("app", "one");
  fake::Fail("rpc_port_disconnect", RPC_PORT_ERROR_IO_ERROR);
  factory_->last_service->Disconnect();
  EXPECT_TRUE(support::LoggedTexts(DLOG_ERROR, kStubTag).empty());
  factory_->last_service->Disconnect();  // fails without a port
  EXPECT_TRUE(support::LoggedTexts(DLOG_ERROR, kStubTag).empty());
  EXPECT_TRUE(fake::IsConnected("one"));
}

class StubFailures : public support::PlatformTest {};

TEST_F(StubFailures, ThrowFromConstructor) {
  fake::Fail("rpc_port_stub_create", RPC_PORT_ERROR_OUT_OF_MEMORY);
  EXPECT_THROW(CommandHandler(), rpc_port::stub::stub::InvalidIOException);
  EXPECT_EQ(CountStubErrors("CommandHandler", "Failed to create stub handle"), 1);
}

TEST_F(StubFailures, ThrowFromListenOnlyForTwoErrors) {
  Script script;
  for (const int error : {RPC_PORT_ERROR_INVALID_PARAMETER, RPC_PORT_ERROR_IO_ERROR}) {
    fake::ClearLog();
    CommandHandler stub;
    fake::Fail("rpc_port_stub_listen", error);
    EXPECT_THROW(stub.Listen(std::make_shared<RecordingFactory>(&script)),
                 rpc_port::stub::stub::InvalidIOException)
        << error;
    EXPECT_EQ(CountStubErrors("Listen", "Failed to listen stub"), 1) << error;
  }
}

TEST_F(StubFailures, AreLoggedForOtherErrorsOfListening) {
  Script script;
  for (const int error : {RPC_PORT_ERROR_OUT_OF_MEMORY, RPC_PORT_ERROR_PERMISSION_DENIED}) {
    fake::ClearLog();
    CommandHandler stub;
    fake::Fail("rpc_port_stub_listen", error);
    EXPECT_NO_THROW(stub.Listen(std::make_shared<RecordingFactory>(&script))) << error;
    EXPECT_EQ(CountStubErrors("Listen", "Failed to listen stub"), 1) << error;
  }
}

}  // namespace
