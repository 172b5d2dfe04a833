// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <package_info.h>
#include <package_manager.h>

#include <memory>
#include <string>
#include <utility>

#include "platform/linux/common/copy-text.h"
#include "platform/linux/common/package-database.h"
#include "platform/linux/package-manager/errors.h"

// A snapshot of a package at the time when the handle was created.
struct package_info_s {
  std::shared_ptr<const platform::PackageRecord> record;
};

namespace {

using platform::CopyText;
using platform::kPackageManagerBoundary;

}  // namespace

EXPORT_API int package_info_create(const char* package, package_info_h* package_info) {
  if (package == nullptr || package_info == nullptr) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  return kPackageManagerBoundary.Run([=]() -> int {
    auto record = platform::FindPackage(package);
    if (!record) return PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE;
    *package_info = new package_info_s{std::move(record)};
    return PACKAGE_MANAGER_ERROR_NONE;
  });
}

EXPORT_API int package_info_destroy(package_info_h package_info) {
  if (package_info == nullptr) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  delete package_info;
  return PACKAGE_MANAGER_ERROR_NONE;
}

EXPORT_API int package_info_get_package(package_info_h package_info, char** package) {
  if (package_info == nullptr || package == nullptr) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  return CopyText(package_info->record->id, package);
}

EXPORT_API int package_info_get_version(package_info_h package_info, char** version) {
  if (package_info == nullptr || version == nullptr) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  return CopyText(package_info->record->version, version);
}

EXPORT_API int package_info_get_type(package_info_h package_info, char** type) {
  if (package_info == nullptr || type == nullptr) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  return CopyText(package_info->record->type, type);
}

EXPORT_API int package_info_get_root_path(package_info_h package_info, char** path) {
  if (package_info == nullptr || path == nullptr) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  return CopyText(package_info->record->root_path, path);
}

EXPORT_API int package_info_is_preload_package(package_info_h package_info, bool* preload) {
  if (package_info == nullptr || preload == nullptr) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  *preload = package_info->record->preload;
  return PACKAGE_MANAGER_ERROR_NONE;
}

EXPORT_API int package_info_foreach_app_from_package(package_info_h package_info,
                                                     package_info_app_component_type_e comp_type,
                                                     package_info_app_cb callback,
                                                     void* user_data) {
  if (package_info == nullptr || callback == nullptr || comp_type < PACKAGE_INFO_ALLAPP ||
      comp_type > PACKAGE_INFO_WATCHAPP)
    return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  for (const platform::ApplicationRecord& application : package_info->record->applications) {
    const auto kind = static_cast<package_info_app_component_type_e>(application.kind);
    if (comp_type != PACKAGE_INFO_ALLAPP && comp_type != kind) continue;
    if (!callback(kind, application.id.c_str(), user_data)) break;
  }
  return PACKAGE_MANAGER_ERROR_NONE;
}

EXPORT_API int package_info_foreach_privilege_info(package_info_h package_info,
                                                   package_info_privilege_info_cb callback,
                                                   void* user_data) {
  if (package_info == nullptr || callback == nullptr)
    return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  for (const std::string& privilege : package_info->record->privileges)
    if (!callback(privilege.c_str(), user_data)) break;
  return PACKAGE_MANAGER_ERROR_NONE;
}

EXPORT_API int package_manager_foreach_package_info(package_manager_package_info_cb callback,
                                                    void* user_data) {
  if (callback == nullptr) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  return kPackageManagerBoundary.Run([=]() -> int {
    for (platform::PackageRecord& record : platform::AllPackages()) {
      package_info_s info{std::make_shared<const platform::PackageRecord>(std::move(record))};
      if (!callback(&info, user_data)) break;
    }
    return PACKAGE_MANAGER_ERROR_NONE;
  });
}

EXPORT_API int package_manager_get_package_info(const char* package_id,
                                                package_info_h* package_info) {
  return package_info_create(package_id, package_info);
}
