// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <rpc-port.h>
#include <tizen.h>

#include "platform/linux/rpc-port/handle-table.h"
#include "platform/linux/rpc-port/port.h"

EXPORT_API int rpc_port_disconnect(rpc_port_h port) {
  const auto found = platform::rpc::HandleTable<platform::rpc::Port>::Get().Find(port);
  if (found == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  found->Disconnect();
  return RPC_PORT_ERROR_NONE;
}
