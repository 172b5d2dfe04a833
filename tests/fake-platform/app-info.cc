// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_info.h>
#include <app_manager.h>

#include "state.h"

using fake::App;
using fake::Package;
using fake::internal::AppInfo;
using fake::internal::FunctionCall;
using fake::internal::GetState;
using fake::internal::MetadataFilter;

namespace {

std::shared_ptr<AppInfo> FindInfo(app_info_h handle, const char* function) {
  return fake::internal::Find(GetState().app_infos, handle, function);
}

app_info_h AddInfo(const App& app, const Package& package) {
  auto info = std::make_shared<AppInfo>();
  info->app = app;
  info->package = package;
  return static_cast<app_info_h>(GetState().app_infos.Add(info));
}

int CreateInfo(const char* app_id, app_info_h* app_info) {
  if (!app_id || !app_info) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  for (const Package& package : GetState().packages) {
    for (const App& app : package.apps) {
      if (app.id != app_id) continue;
      *app_info = AddInfo(app, package);
      return APP_MANAGER_ERROR_NONE;
    }
  }
  return APP_MANAGER_ERROR_NO_SUCH_APP;
}

int GetText(app_info_h handle, char** out, std::string (*text)(const AppInfo&),
            const char* function) {
  const FunctionCall call(function);
  if (call.error != 0) return call.error;
  const auto info = FindInfo(handle, function);
  if (!info || !out) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  return fake::internal::ReturnText(text(*info), out);
}

bool Matches(const App& app, const MetadataFilter::Condition& condition) {
  for (const auto& [key, value] : app.metadata) {
    if (key == condition.key && (condition.any_value || value == condition.value)) return true;
  }
  return false;
}

bool Matches(const App& app, const MetadataFilter& filter) {
  for (const auto& condition : filter.conditions) {
    if (!Matches(app, condition)) return false;
  }
  return true;
}

}  // namespace

extern "C" {

int app_manager_get_app_info(const char* app_id, app_info_h* app_info) {
  const FunctionCall call(__func__, app_id ? app_id : "");
  if (call.error != 0) return call.error;
  return CreateInfo(app_id, app_info);
}

int app_info_create(const char* app_id, app_info_h* app_info) {
  const FunctionCall call(__func__, app_id ? app_id : "");
  if (call.error != 0) return call.error;
  return CreateInfo(app_id, app_info);
}

int app_info_destroy(app_info_h app_info) {
  const FunctionCall call(__func__);
  if (!FindInfo(app_info, __func__)) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  GetState().app_infos.Remove(app_info);
  return call.error;
}

int app_info_get_app_id(app_info_h app_info, char** app_id) {
  return GetText(
      app_info, app_id, [](const AppInfo& info) { return info.app.id; }, __func__);
}

int app_info_get_exec(app_info_h app_info, char** exec) {
  return GetText(
      app_info, exec,
      [](const AppInfo& info) { return info.package.root_path + "/bin/" + info.app.id; }, __func__);
}

int app_info_get_package(app_info_h app_info, char** package) {
  return GetText(
      app_info, package, [](const AppInfo& info) { return info.package.id; }, __func__);
}

int app_info_foreach_metadata(app_info_h app_info, app_info_metadata_cb callback, void* user_data) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto info = FindInfo(app_info, __func__);
  if (!info || !callback) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  for (const auto& [key, value] : info->app.metadata) {
    if (!fake::internal::CallBack(callback, key.c_str(), value.c_str(), user_data)) break;
  }
  return APP_MANAGER_ERROR_NONE;
}

int app_info_is_preload(app_info_h app_info, bool* preload) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto info = FindInfo(app_info, __func__);
  if (!info || !preload) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  *preload = info->package.preloaded;
  return APP_MANAGER_ERROR_NONE;
}

int app_info_metadata_filter_create(app_info_metadata_filter_h* handle) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  if (!handle) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  *handle = static_cast<app_info_metadata_filter_h>(
      GetState().metadata_filters.Add(std::make_shared<MetadataFilter>()));
  return APP_MANAGER_ERROR_NONE;
}

int app_info_metadata_filter_destroy(app_info_metadata_filter_h handle) {
  const FunctionCall call(__func__);
  if (!fake::internal::Find(GetState().metadata_filters, handle, __func__)) {
    return APP_MANAGER_ERROR_INVALID_PARAMETER;
  }
  GetState().metadata_filters.Remove(handle);
  return call.error;
}

int app_info_metadata_filter_add(app_info_metadata_filter_h handle, const char* key,
                                 const char* value) {
  const FunctionCall call(__func__, key ? key : "");
  if (call.error != 0) return call.error;
  const auto filter = fake::internal::Find(GetState().metadata_filters, handle, __func__);
  if (!filter || !key) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  filter->conditions.push_back({key, value == nullptr, value ? value : ""});
  return APP_MANAGER_ERROR_NONE;
}

int app_info_metadata_filter_foreach(app_info_metadata_filter_h handle, app_info_filter_cb callback,
                                     void* user_data) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto filter = fake::internal::Find(GetState().metadata_filters, handle, __func__);
  if (!filter || !callback) return APP_MANAGER_ERROR_INVALID_PARAMETER;
  for (const Package& package : std::vector(GetState().packages)) {
    for (const App& app : package.apps) {
      if (!Matches(app, *filter)) continue;
      app_info_h info = AddInfo(app, package);
      const bool should_continue = fake::internal::CallBack(callback, info, user_data);
      GetState().app_infos.Remove(info);
      if (!should_continue) return APP_MANAGER_ERROR_NONE;
    }
  }
  return APP_MANAGER_ERROR_NONE;
}

}  // extern "C"
