// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_common.h>
#include <dlog.h>

#include <exception>
#include <string>

#include "platform/linux/common/copy-text.h"
#include "platform/linux/common/package-database.h"
#include "platform/linux/common/process-identity.h"
#include "platform/linux/common/root-folder.h"

namespace {

constexpr char kLogTag[] = "APPCOM";

// Returns a copy of the path with a trailing slash, as the interface requires. Returns null and
// sets the last result when out of memory.
char* ReturnPath(const std::string& path) {
  char* copy = nullptr;
  set_last_result(platform::CopyText(path + "/", &copy));
  return copy;
}

char* ReturnError(int error) {
  set_last_result(error);
  return nullptr;
}

}  // namespace

EXPORT_API int app_get_id(char** id) {
  if (id == nullptr) return APP_ERROR_INVALID_PARAMETER;
  const platform::ProcessIdentity self = platform::IdentifyThisProcess();
  if (!self.is_installed_application) return APP_ERROR_INVALID_CONTEXT;
  return platform::CopyText(self.app_id, id);
}

// Processes that are not installed have a data folder too, named after their host id.
EXPORT_API char* app_get_data_path(void) {
  try {
    const platform::ProcessIdentity self = platform::IdentifyThisProcess();
    if (self.app_id.empty()) {
      dlog_print(DLOG_ERROR, kLogTag, "no data folder: cannot identify this process");
      return ReturnError(APP_ERROR_INVALID_CONTEXT);
    }
    return ReturnPath(platform::FolderBelowRoot(platform::kDataFolder + ("/" + self.app_id)));
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLogTag, "no data folder: %s", error.what());
    return ReturnError(APP_ERROR_PERMISSION_DENIED);
  }
}

EXPORT_API char* app_get_resource_path(void) {
  try {
    const platform::ProcessIdentity self = platform::IdentifyThisProcess();
    if (self.is_installed_application)
      if (const auto application = platform::FindApplication(self.app_id))
        return ReturnPath(application->package_root + "/res");
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLogTag, "no resource folder: %s", error.what());
  }
  return ReturnError(APP_ERROR_INVALID_CONTEXT);
}
