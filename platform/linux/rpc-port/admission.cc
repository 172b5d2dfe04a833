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
    admission.cause = "it belongs to another user";
    return admission;
  }
  const ProcessIdentity identity = IdentifyProcess(process);
  admission.app_id = identity.app_id;
  if (identity.app_id.empty()) {
    admission.cause = "it cannot be told who it is";
    return admission;
  }
  admission.executable = *identity.executable;
  // The owner of a PID namespace may speak in the name of every process in it.
  if (!process.HasOurPidNamespace()) {
    admission.cause = "it has a PID namespace of its own";
    return admission;
  }
  if (!privileges.empty() && !identity.is_installed_application) {
    admission.cause = "it is no installed application";
    return admission;
  }
  for (const std::string& privilege : privileges) {
    if (HoldsPrivilege(identity.app_id, privilege)) continue;
    admission.cause = "it lacks the privilege " + privilege;
    return admission;
  }
  admission.is_granted = true;
  return admission;
}

}  // namespace platform::rpc
