// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <package_manager.h>

#include <algorithm>

#include "package-event.h"
#include "state.h"

using fake::Package;
using fake::internal::CallBack;
using fake::internal::FindPackage;
using fake::internal::FunctionCall;
using fake::internal::GetState;
using fake::internal::PackageManager;

namespace {

std::shared_ptr<PackageManager> FindManager(package_manager_h handle, const char* function) {
  return fake::internal::Find(GetState().package_managers, handle, function);
}

std::shared_ptr<Package> FindInfo(package_info_h handle, const char* function) {
  return fake::internal::Find(GetState().package_infos, handle, function);
}

package_info_h AddInfo(const Package& package) {
  return static_cast<package_info_h>(
      GetState().package_infos.Add(std::make_shared<Package>(package)));
}

int CreateInfo(const char* package_id, package_info_h* out) {
  if (!package_id || !out) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  const Package* package = FindPackage(package_id);
  if (!package) return PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE;
  *out = AddInfo(*package);
  return PACKAGE_MANAGER_ERROR_NONE;
}

int GetText(package_info_h handle, char** out, std::string (*text)(const Package&),
            const char* function) {
  const FunctionCall call(function);
  if (call.error != 0) return call.error;
  const auto info = FindInfo(handle, function);
  if (!info || !out) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  return fake::internal::ReturnText(text(*info), out);
}

bool Matches(const PackageManager& manager, int event_type) {
  if (!manager.callback || !manager.has_status) return false;
  if (manager.status == PACKAGE_MANAGER_STATUS_TYPE_ALL) return true;
  switch (event_type) {
    case PACKAGE_MANAGER_EVENT_TYPE_INSTALL:
      return (manager.status & PACKAGE_MANAGER_STATUS_TYPE_INSTALL) != 0;
    case PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL:
      return (manager.status & PACKAGE_MANAGER_STATUS_TYPE_UNINSTALL) != 0;
    case PACKAGE_MANAGER_EVENT_TYPE_UPDATE:
      return (manager.status & PACKAGE_MANAGER_STATUS_TYPE_UPGRADE) != 0;
    default:
      return true;  // no status of the headers selects other types, so listeners must expect them
  }
}

}  // namespace

extern "C" {

int package_manager_create(package_manager_h* manager) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  if (!manager) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  *manager = static_cast<package_manager_h>(
      GetState().package_managers.Add(std::make_shared<PackageManager>()));
  return PACKAGE_MANAGER_ERROR_NONE;
}

int package_manager_destroy(package_manager_h manager) {
  const FunctionCall call(__func__);
  if (!FindManager(manager, __func__)) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  GetState().package_managers.Remove(manager);
  return call.error;
}

int package_manager_set_event_status(package_manager_h manager, int status_type) {
  const FunctionCall call(__func__, std::to_string(status_type));
  if (call.error != 0) return call.error;
  const auto found = FindManager(manager, __func__);
  if (!found) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  found->has_status = true;
  found->status = status_type;
  return PACKAGE_MANAGER_ERROR_NONE;
}

int package_manager_set_event_cb(package_manager_h manager, package_manager_event_cb callback,
                                 void* user_data) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto found = FindManager(manager, __func__);
  if (!found || !callback) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  found->callback = callback;
  found->data = user_data;
  return PACKAGE_MANAGER_ERROR_NONE;
}

int package_manager_unset_event_cb(package_manager_h manager) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto found = FindManager(manager, __func__);
  if (!found) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  found->callback = nullptr;
  return PACKAGE_MANAGER_ERROR_NONE;
}

int package_manager_foreach_package_info(package_manager_package_info_cb callback,
                                         void* user_data) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  if (!callback) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  for (const Package& package : std::vector(GetState().packages)) {
    package_info_h info = AddInfo(package);
    const bool should_continue = CallBack(callback, info, user_data);
    GetState().package_infos.Remove(info);
    if (!should_continue) break;
  }
  return PACKAGE_MANAGER_ERROR_NONE;
}

int package_manager_get_package_info(const char* package_id, package_info_h* package_info) {
  const FunctionCall call(__func__, package_id ? package_id : "");
  if (call.error != 0) return call.error;
  return CreateInfo(package_id, package_info);
}

int package_info_create(const char* package, package_info_h* package_info) {
  const FunctionCall call(__func__, package ? package : "");
  if (call.error != 0) return call.error;
  return CreateInfo(package, package_info);
}

int package_info_destroy(package_info_h package_info) {
  const FunctionCall call(__func__);
  if (!FindInfo(package_info, __func__)) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  GetState().package_infos.Remove(package_info);
  return call.error;
}

int package_info_get_package(package_info_h package_info, char** package) {
  return GetText(
      package_info, package, [](const Package& info) { return info.id; }, __func__);
}

int package_info_get_version(package_info_h package_info, char** version) {
  return GetText(
      package_info, version, [](const Package&) { return std::string("1.0.0"); }, __func__);
}

int package_info_get_type(package_info_h package_info, char** type) {
  return GetText(
      package_info, type, [](const Package&) { return std::string("tpk"); }, __func__);
}

int package_info_get_root_path(package_info_h package_info, char** path) {
  return GetText(
      package_info, path, [](const Package& info) { return info.root_path; }, __func__);
}

int package_info_is_preload_package(package_info_h package_info, bool* preload) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto info = FindInfo(package_info, __func__);
  if (!info || !preload) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  *preload = info->preloaded;
  return PACKAGE_MANAGER_ERROR_NONE;
}

int package_info_foreach_app_from_package(package_info_h package_info,
                                          package_info_app_component_type_e comp_type,
                                          package_info_app_cb callback, void* user_data) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto info = FindInfo(package_info, __func__);
  if (!info || !callback) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  if (comp_type != PACKAGE_INFO_ALLAPP && comp_type != PACKAGE_INFO_SERVICEAPP) {
    return PACKAGE_MANAGER_ERROR_NONE;  // every application of the fake is a service
  }
  for (const fake::App& app : info->apps) {
    if (!CallBack(callback, PACKAGE_INFO_SERVICEAPP, app.id.c_str(), user_data)) break;
  }
  return PACKAGE_MANAGER_ERROR_NONE;
}

int package_info_foreach_privilege_info(package_info_h package_info,
                                        package_info_privilege_info_cb callback, void* user_data) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto info = FindInfo(package_info, __func__);
  if (!info || !callback) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  for (const std::string& privilege : info->privileges) {
    if (!CallBack(callback, privilege.c_str(), user_data)) break;
  }
  return PACKAGE_MANAGER_ERROR_NONE;
}

}  // extern "C"

namespace fake {

void Install(const Package& package) {
  auto& packages = GetState().packages;
  for (Package& installed : packages) {
    if (installed.id == package.id) {
      installed = package;
      return;
    }
  }
  packages.push_back(package);
}

void Uninstall(const std::string& package_id) {
  auto& packages = GetState().packages;
  packages.erase(
      std::remove_if(packages.begin(), packages.end(),
                     [&package_id](const Package& package) { return package.id == package_id; }),
      packages.end());
}

void RaisePackageEvent(const char* type, const std::string& package_id, int event_type,
                       package_manager_event_state_e state) {
  // Iterates over a copy and skips package managers that a callback has destroyed.
  for (const auto& [handle, manager] : GetState().package_managers.All()) {
    if (!GetState().package_managers.Find(handle) || !Matches(*manager, event_type)) continue;
    CallBack(fake_call_package_event_cb, manager->callback, type, package_id.c_str(), event_type,
             state, manager->data);
  }
}

}  // namespace fake
