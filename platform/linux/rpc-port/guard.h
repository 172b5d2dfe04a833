// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_GUARD_H_
#define PLATFORM_LINUX_RPC_PORT_GUARD_H_

#include <dlog.h>
#include <rpc-port.h>

#include <exception>
#include <new>

#include "platform/linux/rpc-port/log.h"

namespace platform::rpc {

// Runs an action that returns a rpc_port_error_e for a C caller, to whom no exception may get.
template <typename Action>
int Guarded(Action action) {
  try {
    return action();
  } catch (const std::bad_alloc&) {
    return RPC_PORT_ERROR_OUT_OF_MEMORY;
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLogTag, "%s", error.what());
    return RPC_PORT_ERROR_IO_ERROR;
  }
}

}  // namespace platform::rpc

#endif
