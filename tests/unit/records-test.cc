// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "ipc/records.h"

#include <rpc-port-parcel.h>

#include "library-test.h"

namespace {

using rpc_port::stub::Bundle;
using rpc_port::stub::Command;
using rpc_port::stub::ReadString;
using rpc_port::stub::Result;

class Records : public support::PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    ASSERT_EQ(rpc_port_parcel_create(&parcel_), RPC_PORT_ERROR_NONE);
  }

  void TearDown() override {
    rpc_port_parcel_destroy(parcel_);
    PlatformTest::TearDown();
  }

  std::string NextString() {
    std::string text = "none";
    ReadString(parcel_, text);
    return text;
  }

  static Bundle Extra() {
    Bundle extra;
    bundle_add_str(extra.GetHandle(), "key", "value");
    return extra;
  }

  static std::string ValueOf(bundle* handle) {
    char* value = nullptr;
    bundle_get_str(handle, "key", &value);
    return value != nullptr ? value : "";
  }

  rpc_port_parcel_h parcel_ = nullptr;
};

TEST_F(Records, WriteEachFieldOfCommand) {
  parcel_ << Command("uuid", "type", "payload", -5, Extra());
  EXPECT_EQ(NextString(), "uuid");
  EXPECT_EQ(NextString(), "type");
  EXPECT_EQ(NextString(), "payload");
  long long timestamp = 0;
  EXPECT_EQ(rpc_port_parcel_read_int64(parcel_, &timestamp), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(timestamp, -5);
  bundle* handle = nullptr;
  ASSERT_EQ(rpc_port_parcel_read_bundle(parcel_, &handle), RPC_PORT_ERROR_NONE);
  const Bundle owned(handle);
  EXPECT_EQ(ValueOf(handle), "value");
  EXPECT_EQ(NextString(), "none");
}

TEST_F(Records, WriteEachFieldOfResult) {
  parcel_ << Result("uuid", "result", 7, "error", Extra());
  EXPECT_EQ(NextString(), "uuid");
  EXPECT_EQ(NextString(), "result");
  int status = 0;
  EXPECT_EQ(rpc_port_parcel_read_int32(parcel_, &status), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(status, 7);
  EXPECT_EQ(NextString(), "error");
  bundle* handle = nullptr;
  ASSERT_EQ(rpc_port_parcel_read_bundle(parcel_, &handle), RPC_PORT_ERROR_NONE);
  const Bundle owned(handle);
  EXPECT_EQ(ValueOf(handle), "value");
  EXPECT_EQ(NextString(), "none");
}

TEST_F(Records, ReadWrittenCommand) {
  parcel_ << Command("uuid", "type", "payload", -5, Extra());
  Command command;
  parcel_ >> command;
  EXPECT_EQ(command.uuid, "uuid");
  EXPECT_EQ(command.request_type, "type");
  EXPECT_EQ(command.payload, "payload");
  EXPECT_EQ(command.timestamp, -5);
  EXPECT_EQ(ValueOf(command.extra.GetHandle()), "value");
}

TEST_F(Records, ReadWrittenResult) {
  parcel_ << Result("uuid", "result", 7, "error", Extra());
  Result result;
  parcel_ >> result;
  EXPECT_EQ(result.uuid, "uuid");
  EXPECT_EQ(result.result, "result");
  EXPECT_EQ(result.status, 7);
  EXPECT_EQ(result.error, "error");
  EXPECT_EQ(ValueOf(result.extra.GetHandle()), "value");
}

TEST_F(Records, KeepValuesOfMissingFields) {
  Command command("uuid", "type", "payload", 5, Extra());
  parcel_ >> command;
  EXPECT_EQ(command.payload, "payload");
  EXPECT_EQ(command.timestamp, 5);
  EXPECT_EQ(ValueOf(command.extra.GetHandle()), "value");
}

TEST_F(Records, AreEmptyByDefault) {
  const Command command;
  EXPECT_EQ(command.uuid + command.request_type + command.payload, "");
  EXPECT_EQ(command.timestamp, 0);
  const Result result;
  EXPECT_EQ(result.uuid + result.result + result.error, "");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(fake::OpenHandles("bundle"), 2);
}

TEST_F(Records, DuplicateBundleWhenCopied) {
  const Command command("uuid", "type", "payload", 5, Extra());
  const Command copy = command;
  EXPECT_NE(copy.extra.GetHandle(), command.extra.GetHandle());
  EXPECT_EQ(ValueOf(copy.extra.GetHandle()), "value");
}

}  // namespace
