// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/admission.h"

#include <unistd.h>

#include "platform/linux/common/process-identity.h"

namespace platform::rpc {

Admission Admit(const ProcessHandle& process, uid_t user,
                const std::vector<std::string>& privileges) {
  Admission admission;
  if (user != geteuid()) {
    admission.cause = "belongs to another user";
    return admission;
  }
  const ProcessIdentity identity = IdentifyProcess(process);
  admission.app_id = identity.app_id;
  if (identity.app_id.empty()) {
    admission.cause = "cannot identify the peer process";
    return admission;
  }
  admission.executable = *identity.executable;
  // In a PID namespace of its own, a process can set the credentials of messages to any process id
  // of that namespace.
  if (!process.HasOurPidNamespace()) {
    admission.cause = "runs in another PID namespace";
    return admission;
  }
  if (!privileges.empty() && !identity.is_installed_application) {
    admission.cause = "not an installed application";
    return admission;
  }
  for (const std::string& privilege : privileges) {
    if (HoldsPrivilege(identity.app_id, privilege)) continue;
    admission.cause = "lacks the privilege " + privilege;
    return admission;
  }
  admission.is_granted = true;
  return admission;
}

}  // namespace platform::rpc
