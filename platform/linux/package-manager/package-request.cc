// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <dlog.h>
#include <package_manager.h>

#include <atomic>
#include <functional>
#include <string>

#include "platform/linux/package-manager/errors.h"
#include "platform/linux/package-manager/installer.h"

struct package_manager_request_s {
  package_manager_request_event_cb callback = nullptr;
  void* user_data = nullptr;
};

namespace {

using platform::Installer;
using platform::PackageEvent;

// Requests run on the calling thread, so one thread can have only one.
thread_local bool thread_is_in_request = false;

int Run(package_manager_request_h request, const char* text, int* id,
        void (Installer::*operation)(const std::string&)) {
  if (request == nullptr || text == nullptr || *text == '\0')
    return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  if (thread_is_in_request) {
    // Called from a callback of the running request, which holds the install lock: the new request
    // would wait for the lock forever.
    dlog_print(DLOG_ERROR, platform::kPackageLogTag, "%s: a request is in progress on this thread",
               text);
    return PACKAGE_MANAGER_ERROR_SYSTEM_ERROR;
  }
  static std::atomic<int> last_id{0};
  const int number = ++last_id;
  if (id != nullptr) *id = number;
  thread_is_in_request = true;
  const int result = platform::kPackageManagerBoundary.Run([&]() -> int {
    // A copy: the callback may release the request.
    const auto report = [number, asked = *request](const PackageEvent& event) {
      if (asked.callback == nullptr) return;
      asked.callback(number, event.package_type.c_str(), event.package_id.c_str(), event.type,
                     event.state, event.progress, event.error, asked.user_data);
    };
    (Installer(report).*operation)(text);
    return PACKAGE_MANAGER_ERROR_NONE;
  });
  thread_is_in_request = false;
  return result;
}

}  // namespace

EXPORT_API int package_manager_request_create(package_manager_request_h* request) {
  if (request == nullptr) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  return platform::kPackageManagerBoundary.Run([=]() -> int {
    *request = new package_manager_request_s;
    return PACKAGE_MANAGER_ERROR_NONE;
  });
}

EXPORT_API int package_manager_request_destroy(package_manager_request_h request) {
  if (request == nullptr) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  delete request;
  return PACKAGE_MANAGER_ERROR_NONE;
}

EXPORT_API int package_manager_request_set_event_cb(package_manager_request_h request,
                                                    package_manager_request_event_cb callback,
                                                    void* user_data) {
  if (request == nullptr || callback == nullptr) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  request->callback = callback;
  request->user_data = user_data;
  return PACKAGE_MANAGER_ERROR_NONE;
}

EXPORT_API int package_manager_request_install(package_manager_request_h request, const char* path,
                                               int* id) {
  return Run(request, path, id, &Installer::Install);
}

EXPORT_API int package_manager_request_uninstall(package_manager_request_h request,
                                                 const char* name, int* id) {
  return Run(request, name, id, &Installer::Uninstall);
}
