// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_PROCESS_OBSERVERS_H_
#define PLATFORM_LINUX_APP_CONTROL_PROCESS_OBSERVERS_H_

#include <string>

#include "platform/linux/common/process-end.h"

namespace platform {

// Calls the callbacks of qor_platform_add_process_end_cb().
void NotifyProcessObservers(const std::string& app_id, const ProcessEnd& end);

}  // namespace platform

#endif
