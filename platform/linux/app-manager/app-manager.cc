// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_manager.h>

#include <algorithm>

#include "platform/linux/app-manager/errors.h"
#include "platform/linux/common/copy-text.h"
#include "platform/linux/common/package-database.h"
#include "platform/linux/common/process-handle.h"

using platform::kAppManagerBoundary;

EXPORT_API int app_manager_get_app_info(const char* app_id, app_info_h* app_info) {
  return app_info_create(app_id, app_info);
}

EXPORT_API int app_manager_get_app_id(pid_t pid, char** app_id) {
  if (pid <= 0 || app_id == nullptr) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  return kAppManagerBoundary.Run([=]() -> int {
    const platform::ProcessHandle process(pid);
    const std::string executable = process.ExecutablePath().path;
    const auto found = platform::FindApplicationIdByExecutable(executable);
    // The path alone proves nothing: in a mount namespace of its own a process can give any file
    // any path. Executes() compares the file too.
    if (!found || !process.Executes(executable)) return APP_MANAGER_ERROR_NO_SUCH_APP;
    return platform::CopyText(*found, app_id);
  });
}

EXPORT_API int app_manager_is_running(const char* app_id, bool* running) {
  if (app_id == nullptr || running == nullptr) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  return kAppManagerBoundary.Run([=]() -> int {
    const auto application = platform::FindApplication(app_id);
    if (!application) return APP_MANAGER_ERROR_NO_SUCH_APP;
    const auto candidates = platform::FindProcesses([&](const platform::Executable& executable) {
      return executable.path == application->executable;
    });
    *running = std::any_of(candidates.begin(), candidates.end(), [&](pid_t pid) {
      return platform::ProcessHandle(pid).Executes(application->executable);
    });
    return APP_MANAGER_ERROR_NONE;
  });
}
