// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Compares the SDK's parcels with the published interface definition.

#include "wire.h"

#include <bundle.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <map>
#include <stdexcept>
#include <vector>

#include "interface-definition.h"

namespace qor::internal {
namespace {

using qor::test::InterfaceDefinition;
using testing::ElementsAre;
using wire::Parcel;

const InterfaceDefinition& Interface() {
  static const InterfaceDefinition definition(QOR_INTERFACE_DEFINITION);
  return definition;
}

Parcel NewParcel() {
  rpc_port_parcel_h parcel = nullptr;
  EXPECT_EQ(rpc_port_parcel_create(&parcel), RPC_PORT_ERROR_NONE);
  return Parcel(parcel);
}

// Returns the parcel as the receiver decodes it.
Parcel Transported(const Parcel& sent) {
  void* bytes = nullptr;
  unsigned size = 0;
  EXPECT_EQ(rpc_port_parcel_get_raw(sent.get(), &bytes, &size), RPC_PORT_ERROR_NONE);
  rpc_port_parcel_h parcel = nullptr;
  EXPECT_EQ(rpc_port_parcel_create_from_raw(&parcel, bytes, size), RPC_PORT_ERROR_NONE);
  return Parcel(parcel);
}

std::string ReadAs(const std::string& type, rpc_port_parcel_h parcel) {
  int error = RPC_PORT_ERROR_NONE;
  std::string value;
  if (type == "string") {
    char* text = nullptr;
    error = rpc_port_parcel_read_string(parcel, &text);
    value = text != nullptr ? text : "";
    std::free(text);
  } else if (type == "int") {
    int number = 0;
    error = rpc_port_parcel_read_int32(parcel, &number);
    value = std::to_string(number);
  } else if (type == "bool") {
    bool yes = false;
    error = rpc_port_parcel_read_bool(parcel, &yes);
    value = yes ? "true" : "false";
  } else if (type == "double") {
    double number = 0;
    error = rpc_port_parcel_read_double(parcel, &number);
    value = std::to_string(number);
  } else if (type == "bundle") {
    bundle* extra = nullptr;
    error = rpc_port_parcel_read_bundle(parcel, &extra);
    value = std::to_string(bundle_get_count(extra)) + " entries";
    bundle_free(extra);
  } else {
    throw std::invalid_argument(type);
  }
  return error == RPC_PORT_ERROR_NONE ? value : "error " + std::to_string(error);
}

void WriteAs(const std::string& type, const std::string& value, rpc_port_parcel_h parcel) {
  if (type == "string") {
    rpc_port_parcel_write_string(parcel, value.c_str());
  } else if (type == "long") {
    rpc_port_parcel_write_int64(parcel, std::stoll(value));
  } else if (type == "bundle") {
    bundle* extra = bundle_create();
    rpc_port_parcel_write_bundle(parcel, extra);
    bundle_free(extra);
  } else {
    throw std::invalid_argument(type);
  }
}

// The values of a call as "name=value", read in the order of the definition.
std::vector<std::string> ReadCall(const Parcel& sent, const std::string& method) {
  const Parcel parcel = Transported(sent);
  EXPECT_EQ(ReadAs("int", parcel.get()), std::to_string(Interface().Get(method).id));
  std::vector<std::string> values;
  for (const auto& [type, name] : Interface().Values(method)) {
    values.push_back(name + "=" + ReadAs(type, parcel.get()));
  }
  char more = 0;
  EXPECT_NE(rpc_port_parcel_read_byte(parcel.get(), &more), RPC_PORT_ERROR_NONE);
  return values;
}

// Returns a delivery of a command with these field values.
Parcel NewDelivery(const std::map<std::string, std::string>& values) {
  Parcel parcel = NewParcel();
  rpc_port_parcel_write_int32(parcel.get(), 1);
  rpc_port_parcel_write_int32(parcel.get(), Interface().Get("OnCommandReceived").id);
  rpc_port_parcel_write_int32(parcel.get(), 0);
  rpc_port_parcel_write_bool(parcel.get(), false);
  for (const auto& [type, name] : Interface().Values("OnCommandReceived")) {
    WriteAs(type, values.count(name) != 0 ? values.at(name) : "", parcel.get());
  }
  return Transported(parcel);
}

TEST(Wire, RegistersCallbackAsDefined) {
  EXPECT_EQ(Interface().Get("SetCommandReceivedCb").returns, "void");
  EXPECT_THAT(ReadCall(wire::Registration(), "SetCommandReceivedCb"),
              ElementsAre("id=" + std::to_string(Interface().Get("OnCommandReceived").id),
                          "sequence=0", "once=false"));
}

TEST(Wire, SendsSuccessAsDefined) {
  EXPECT_EQ(Interface().Get("SendResult").returns, "bool");
  EXPECT_THAT(ReadCall(wire::Result("u", {true, "{}"}), "SendResult"),
              ElementsAre("uuid=u", "result={}", "status=0", "error=", "extra=0 entries"));
}

TEST(Wire, SendsFailureAsDefined) {
  EXPECT_THAT(ReadCall(wire::Result("u", {false, "{}"}), "SendResult"),
              ElementsAre("uuid=u", "result=", "status=1", "error={}", "extra=0 entries"));
}

TEST(Wire, RequestsExtensionAsDefined) {
  EXPECT_EQ(Interface().Get("NegotiateTimeout").returns, "bool");
  EXPECT_THAT(ReadCall(wire::ExtensionRequest("u", 2.5), "NegotiateTimeout"),
              ElementsAre("uuid=u", "timeout=2.500000"));
}

TEST(Wire, ReadsCommandAsDefined) {
  const Parcel parcel =
      NewDelivery({{"uuid", "u"}, {"request_type", "t"}, {"payload", "p"}, {"timestamp", "-5"}});
  const auto command = wire::ReadDelivery(parcel.get());
  ASSERT_TRUE(command);
  EXPECT_EQ(command->uuid, "u");
  EXPECT_EQ(command->type, "t");
  EXPECT_EQ(command->payload, "p");
  EXPECT_EQ(command->time, -5);
}

TEST(Wire, RejectsTruncatedParcels) {
  const std::vector<std::function<void(rpc_port_parcel_h)>> writes = {
      [](auto parcel) { rpc_port_parcel_write_int32(parcel, 1); },
      [](auto parcel) { rpc_port_parcel_write_int32(parcel, 1); },
      [](auto parcel) { rpc_port_parcel_write_int32(parcel, 0); },
      [](auto parcel) { rpc_port_parcel_write_bool(parcel, false); },
      [](auto parcel) { rpc_port_parcel_write_string(parcel, "u"); },
      [](auto parcel) { rpc_port_parcel_write_string(parcel, "u"); },
      [](auto parcel) { rpc_port_parcel_write_string(parcel, "t"); },
      [](auto parcel) { rpc_port_parcel_write_string(parcel, "p"); },
      [](auto parcel) { rpc_port_parcel_write_int64(parcel, 5); }};
  Parcel delivery = NewParcel();
  for (std::size_t written = 0; written < writes.size(); ++written) {
    EXPECT_FALSE(wire::ReadDelivery(Transported(delivery).get())) << written;
    writes[written](delivery.get());
  }
  EXPECT_TRUE(wire::ReadDelivery(Transported(delivery).get()));

  Parcel reply = NewParcel();
  EXPECT_FALSE(wire::ReadReply(Transported(reply).get()));
  rpc_port_parcel_write_int32(reply.get(), 0);
  EXPECT_FALSE(wire::ReadReply(Transported(reply).get()));
}

TEST(Wire, RejectsParcelsOfAnotherKind) {
  Parcel reply = NewParcel();
  rpc_port_parcel_write_int32(reply.get(), 0);
  rpc_port_parcel_write_bool(reply.get(), true);
  EXPECT_FALSE(wire::ReadDelivery(Transported(reply).get()));
  EXPECT_EQ(wire::ReadReply(Transported(reply).get()), true);
  EXPECT_FALSE(wire::ReadReply(NewDelivery({{"timestamp", "0"}}).get()));
}

}  // namespace
}  // namespace qor::internal
