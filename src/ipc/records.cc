// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "ipc/records.h"

#include <cstdlib>
#include <memory>
#include <utility>

namespace rpc_port {
namespace stub {

namespace {

void ReadBundle(rpc_port_parcel_h parcel, Bundle& value) {
  bundle* handle = nullptr;
  if (rpc_port_parcel_read_bundle(parcel, &handle) == RPC_PORT_ERROR_NONE) value = Bundle(handle);
}

}  // namespace

void ReadString(rpc_port_parcel_h parcel, std::string& text) {
  char* read = nullptr;
  if (rpc_port_parcel_read_string(parcel, &read) != RPC_PORT_ERROR_NONE || read == nullptr) return;
  const std::unique_ptr<char, decltype(&std::free)> owned(read, std::free);
  text = read;
}

Command::Command(std::string uuid_value, std::string request_type_value, std::string payload_value,
                 std::int64_t timestamp_value, Bundle extra_value)
    : uuid(std::move(uuid_value)),
      request_type(std::move(request_type_value)),
      payload(std::move(payload_value)),
      timestamp(timestamp_value),
      extra(std::move(extra_value)) {}

Result::Result(std::string uuid_value, std::string result_value, int status_value,
               std::string error_value, Bundle extra_value)
    : uuid(std::move(uuid_value)),
      result(std::move(result_value)),
      status(status_value),
      error(std::move(error_value)),
      extra(std::move(extra_value)) {}

rpc_port_parcel_h operator<<(rpc_port_parcel_h parcel, const Command& command) {
  rpc_port_parcel_write_string(parcel, command.uuid.c_str());
  rpc_port_parcel_write_string(parcel, command.request_type.c_str());
  rpc_port_parcel_write_string(parcel, command.payload.c_str());
  rpc_port_parcel_write_int64(parcel, command.timestamp);
  rpc_port_parcel_write_bundle(parcel, command.extra.GetHandle());
  return parcel;
}

rpc_port_parcel_h operator>>(rpc_port_parcel_h parcel, Command& command) {
  ReadString(parcel, command.uuid);
  ReadString(parcel, command.request_type);
  ReadString(parcel, command.payload);
  long long timestamp = command.timestamp;
  ReadNumber(rpc_port_parcel_read_int64, parcel, timestamp);
  command.timestamp = timestamp;
  ReadBundle(parcel, command.extra);
  return parcel;
}

rpc_port_parcel_h operator<<(rpc_port_parcel_h parcel, const Result& result) {
  rpc_port_parcel_write_string(parcel, result.uuid.c_str());
  rpc_port_parcel_write_string(parcel, result.result.c_str());
  rpc_port_parcel_write_int32(parcel, result.status);
  rpc_port_parcel_write_string(parcel, result.error.c_str());
  rpc_port_parcel_write_bundle(parcel, result.extra.GetHandle());
  return parcel;
}

rpc_port_parcel_h operator>>(rpc_port_parcel_h parcel, Result& result) {
  ReadString(parcel, result.uuid);
  ReadString(parcel, result.result);
  ReadNumber(rpc_port_parcel_read_int32, parcel, result.status);
  ReadString(parcel, result.error);
  ReadBundle(parcel, result.extra);
  return parcel;
}

}  // namespace stub
}  // namespace rpc_port
