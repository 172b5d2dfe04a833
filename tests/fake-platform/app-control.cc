// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_control.h>

#include "state.h"

using fake::internal::AppControl;
using fake::internal::FunctionCall;
using fake::internal::GetState;

namespace {

std::shared_ptr<AppControl> FindControl(app_control_h handle, const char* function) {
  return fake::internal::Find(GetState().app_controls, handle, function);
}

bool IsReserved(const std::string& key) { return key.compare(0, 2, "__") == 0; }

bool IsInstalled(const std::string& app_id) {
  for (const fake::Package& package : GetState().packages) {
    for (const fake::App& app : package.apps) {
      if (app.id == app_id) return true;
    }
  }
  return false;
}

}  // namespace

extern "C" {

int app_control_create(app_control_h* app_control) {
  const FunctionCall call(__func__);
  if (call.error != 0) {
    return fake::internal::FailAndFillOutput(app_control, sizeof(*app_control), call.error);
  }
  if (!app_control) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  *app_control =
      static_cast<app_control_h>(GetState().app_controls.Add(std::make_shared<AppControl>()));
  return APP_CONTROL_ERROR_NONE;
}

int app_control_destroy(app_control_h app_control) {
  const FunctionCall call(__func__);
  if (!FindControl(app_control, __func__)) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  GetState().app_controls.Remove(app_control);
  return call.error;
}

int app_control_clone(app_control_h* clone, app_control_h app_control) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto control = FindControl(app_control, __func__);
  if (!clone || !control) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  *clone = static_cast<app_control_h>(
      GetState().app_controls.Add(std::make_shared<AppControl>(*control)));
  return APP_CONTROL_ERROR_NONE;
}

int app_control_set_app_id(app_control_h app_control, const char* app_id) {
  const FunctionCall call(__func__, app_id ? app_id : "");
  if (call.error != 0) return call.error;
  const auto control = FindControl(app_control, __func__);
  if (!control) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  control->app_id = app_id ? app_id : "";
  return APP_CONTROL_ERROR_NONE;
}

int app_control_get_app_id(app_control_h app_control, char** app_id) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto control = FindControl(app_control, __func__);
  if (!control || !app_id) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  if (control->app_id.empty()) {
    *app_id = nullptr;
    return APP_CONTROL_ERROR_NONE;
  }
  return fake::internal::ReturnText(control->app_id, app_id);
}

int app_control_add_extra_data(app_control_h app_control, const char* key, const char* value) {
  const FunctionCall call(__func__, key ? key : "");
  if (call.error != 0) return call.error;
  const auto control = FindControl(app_control, __func__);
  if (!control || !key || !*key || !value || !*value) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  if (IsReserved(key)) return APP_CONTROL_ERROR_KEY_REJECTED;
  control->extra_data[key] = value;
  return APP_CONTROL_ERROR_NONE;
}

int app_control_get_extra_data(app_control_h app_control, const char* key, char** value) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto control = FindControl(app_control, __func__);
  if (!control || !key || !*key || !value) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  if (IsReserved(key)) return APP_CONTROL_ERROR_KEY_REJECTED;
  const auto found = control->extra_data.find(key);
  if (found == control->extra_data.end()) return APP_CONTROL_ERROR_KEY_NOT_FOUND;
  return fake::internal::ReturnText(found->second, value);
}

int app_control_remove_extra_data(app_control_h app_control, const char* key) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto control = FindControl(app_control, __func__);
  if (!control || !key || !*key) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  if (IsReserved(key)) return APP_CONTROL_ERROR_KEY_REJECTED;
  return control->extra_data.erase(key) ? APP_CONTROL_ERROR_NONE : APP_CONTROL_ERROR_KEY_NOT_FOUND;
}

int app_control_foreach_extra_data(app_control_h app_control, app_control_extra_data_cb callback,
                                   void* user_data) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto control = FindControl(app_control, __func__);
  if (!control || !callback) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  for (const auto& [key, value] : std::map(control->extra_data)) {
    if (!fake::internal::CallBack(callback, app_control, key.c_str(), user_data)) break;
  }
  return APP_CONTROL_ERROR_NONE;
}

int app_control_send_launch_request(app_control_h app_control, app_control_reply_cb, void*) {
  const auto control = FindControl(app_control, __func__);
  const FunctionCall call(__func__, control ? control->app_id : "");
  if (call.error != 0) return call.error;
  if (!control || control->app_id.empty()) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  if (fake::internal::IsDead(GetState().process)) return APP_CONTROL_ERROR_LAUNCH_REJECTED;
  if (!IsInstalled(control->app_id)) return APP_CONTROL_ERROR_APP_NOT_FOUND;
  GetState().launches.push_back({control->app_id, control->extra_data});
  return APP_CONTROL_ERROR_NONE;
}

int app_control_get_caller(app_control_h, char**) {
  // The fake has no received requests.
  return APP_CONTROL_ERROR_INVALID_PARAMETER;
}

}  // extern "C"
