// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_IPC_RECORDS_H_
#define QOR_SRC_IPC_RECORDS_H_

#include <rpc-port-parcel.h>
#include <rpc-port.h>

#include <cstdint>
#include <string>

#include "ipc/bundle.h"

namespace rpc_port {
namespace stub {

// A command for a handler. The fields are serialized in this order.
struct Command {
  Command() = default;
  Command(std::string uuid, std::string request_type, std::string payload, std::int64_t timestamp,
          Bundle extra);

  std::string uuid;
  std::string request_type;
  std::string payload;
  std::int64_t timestamp = 0;
  Bundle extra;
};

// A handler's result of a command. The fields are serialized in this order.
struct Result {
  Result() = default;
  Result(std::string uuid, std::string result, int status, std::string error, Bundle extra);

  std::string uuid;
  std::string result;
  int status = 0;
  std::string error;
  Bundle extra;
};

// Serialization. Fields missing from a short parcel keep their values.
rpc_port_parcel_h operator<<(rpc_port_parcel_h parcel, const Command& command);
rpc_port_parcel_h operator>>(rpc_port_parcel_h parcel, Command& command);
rpc_port_parcel_h operator<<(rpc_port_parcel_h parcel, const Result& result);
rpc_port_parcel_h operator>>(rpc_port_parcel_h parcel, Result& result);

// Reads a string field; `text` is unchanged if it is missing.
void ReadString(rpc_port_parcel_h parcel, std::string& text);

// Reads a number field with the platform's function; `number` is unchanged if it is missing, even
// though the platform may write to its output on failure.
template <typename Number>
void ReadNumber(int (*read)(rpc_port_parcel_h, Number*), rpc_port_parcel_h parcel, Number& number) {
  Number value{};
  if (read(parcel, &value) == RPC_PORT_ERROR_NONE) number = value;
}

}  // namespace stub
}  // namespace rpc_port

#endif
