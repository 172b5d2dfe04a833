// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_ADMISSION_H_
#define PLATFORM_LINUX_RPC_PORT_ADMISSION_H_

#include <string>
#include <vector>

#include "platform/linux/common/process-handle.h"

namespace platform::rpc {

struct Admission {
  bool is_granted = false;
  std::string app_id;  // empty when the process cannot be identified
  std::string cause;   // of a rejection
  FileId executable;   // of the process; set when granted
};

// Decides whether a process may connect to a stub that requires the privileges. Only installed
// applications hold privileges. A stub that requires none admits every process of its user.
Admission Admit(const ProcessHandle& process, uid_t user,
                const std::vector<std::string>& privileges);

}  // namespace platform::rpc

#endif
