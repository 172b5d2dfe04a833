// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_info.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/linux/app-manager/errors.h"
#include "platform/linux/common/copy-text.h"
#include "platform/linux/common/package-database.h"

// A snapshot of an application at the time when the handle was created.
struct app_info_s {
  platform::ApplicationRecord record;
};

struct app_info_metadata_filter_s {
  std::vector<platform::MetadataCondition> conditions;
};

namespace {

using platform::CopyText;
using platform::kAppManagerBoundary;

}  // namespace

EXPORT_API int app_info_create(const char* app_id, app_info_h* app_info) {
  if (app_id == nullptr || app_info == nullptr) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  return kAppManagerBoundary.Run([=]() -> int {
    auto record = platform::FindApplication(app_id);
    if (!record) return APP_MANAGER_ERROR_NO_SUCH_APP;
    *app_info = new app_info_s{std::move(*record)};
    return APP_MANAGER_ERROR_NONE;
  });
}

EXPORT_API int app_info_destroy(app_info_h app_info) {
  if (app_info == nullptr) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  delete app_info;
  return APP_MANAGER_ERROR_NONE;
}

EXPORT_API int app_info_get_app_id(app_info_h app_info, char** app_id) {
  if (app_info == nullptr || app_id == nullptr) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  return CopyText(app_info->record.id, app_id);
}

EXPORT_API int app_info_get_exec(app_info_h app_info, char** exec) {
  if (app_info == nullptr || exec == nullptr) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  return CopyText(app_info->record.executable, exec);
}

EXPORT_API int app_info_get_package(app_info_h app_info, char** package) {
  if (app_info == nullptr || package == nullptr) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  return CopyText(app_info->record.package_id, package);
}

EXPORT_API int app_info_is_preload(app_info_h app_info, bool* preload) {
  if (app_info == nullptr || preload == nullptr) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  *preload = app_info->record.preload;
  return APP_MANAGER_ERROR_NONE;
}

EXPORT_API int app_info_foreach_metadata(app_info_h app_info, app_info_metadata_cb callback,
                                         void* user_data) {
  if (app_info == nullptr || callback == nullptr) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  for (const auto& [key, value] : app_info->record.metadata)
    if (!callback(key.c_str(), value.c_str(), user_data)) break;
  return APP_MANAGER_ERROR_NONE;
}

EXPORT_API int app_info_metadata_filter_create(app_info_metadata_filter_h* handle) {
  if (handle == nullptr) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  return kAppManagerBoundary.Run([=]() -> int {
    *handle = new app_info_metadata_filter_s;
    return APP_MANAGER_ERROR_NONE;
  });
}

EXPORT_API int app_info_metadata_filter_destroy(app_info_metadata_filter_h handle) {
  if (handle == nullptr) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  delete handle;
  return APP_MANAGER_ERROR_NONE;
}

EXPORT_API int app_info_metadata_filter_add(app_info_metadata_filter_h handle, const char* key,
                                            const char* value) {
  if (handle == nullptr || key == nullptr) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  return kAppManagerBoundary.Run([=]() -> int {
    platform::MetadataCondition condition{key, std::nullopt};
    if (value != nullptr) condition.value = value;
    handle->conditions.push_back(std::move(condition));
    return APP_MANAGER_ERROR_NONE;
  });
}

EXPORT_API int app_info_metadata_filter_foreach(app_info_metadata_filter_h handle,
                                                app_info_filter_cb callback, void* user_data) {
  if (handle == nullptr || callback == nullptr) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  return kAppManagerBoundary.Run([=]() -> int {
    for (platform::ApplicationRecord& record :
         platform::FindApplicationsWithMetadata(handle->conditions)) {
      app_info_s info{std::move(record)};
      if (!callback(&info, user_data)) break;
    }
    return APP_MANAGER_ERROR_NONE;
  });
}
