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
  std::string app_id;  // empty for a process that cannot be told
  std::string cause;   // why not
  FileId executable;   // what was executed, when it is granted
};

// Whether a process of a user may connect to a stub that asks for these privileges. Only
// applications hold privileges; where none is asked for, every process of the same user may come.
Admission Admit(const ProcessHandle& process, uid_t user,
                const std::vector<std::string>& privileges);

}  // namespace platform::rpc

#endif
