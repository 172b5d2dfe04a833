// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_control.h>

#include <cstring>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "platform/linux/app-control/app-control-handle.h"
#include "platform/linux/app-control/launcher.h"
#include "platform/linux/app-control/received-request.h"
#include "platform/linux/common/c-boundary.h"
#include "platform/linux/common/copy-text.h"

namespace {

using platform::CopyText;

int CodeOf(const std::error_code& error) {
  if (error == std::errc::message_size) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  if (error == std::errc::timed_out || error == std::errc::resource_unavailable_try_again)
    return APP_CONTROL_ERROR_TIMED_OUT;
  return APP_CONTROL_ERROR_IO_ERROR;
}

constexpr platform::CBoundary kBoundary("APPCTL", [](const std::exception& error) -> int {
  if (dynamic_cast<const platform::LaunchError*>(&error) != nullptr)
    return APP_CONTROL_ERROR_LAUNCH_FAILED;
  const auto* failure = dynamic_cast<const std::system_error*>(&error);
  return failure != nullptr ? CodeOf(failure->code()) : APP_CONTROL_ERROR_IO_ERROR;
});

bool IsEmpty(const char* text) { return text == nullptr || *text == '\0'; }

bool IsReserved(const char* key) { return std::strncmp(key, "__", 2) == 0; }

}  // namespace

EXPORT_API int app_control_create(app_control_h* app_control) {
  if (app_control == nullptr) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([=]() -> int {
    *app_control = new app_control_s;
    return APP_CONTROL_ERROR_NONE;
  });
}

EXPORT_API int app_control_destroy(app_control_h app_control) {
  if (app_control == nullptr) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  delete app_control;
  return APP_CONTROL_ERROR_NONE;
}

EXPORT_API int app_control_clone(app_control_h* clone, app_control_h app_control) {
  if (clone == nullptr || app_control == nullptr) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([=]() -> int {
    *clone = new app_control_s(*app_control);
    return APP_CONTROL_ERROR_NONE;
  });
}

EXPORT_API int app_control_set_app_id(app_control_h app_control, const char* app_id) {
  if (app_control == nullptr) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([=]() -> int {
    app_control->app_id.reset();
    if (app_id != nullptr) app_control->app_id = app_id;
    return APP_CONTROL_ERROR_NONE;
  });
}

EXPORT_API int app_control_get_app_id(app_control_h app_control, char** app_id) {
  if (app_control == nullptr || app_id == nullptr) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  *app_id = nullptr;
  if (!app_control->app_id) return APP_CONTROL_ERROR_NONE;
  return CopyText(*app_control->app_id, app_id);
}

EXPORT_API int app_control_add_extra_data(app_control_h app_control, const char* key,
                                          const char* value) {
  if (app_control == nullptr || IsEmpty(key) || IsEmpty(value))
    return APP_CONTROL_ERROR_INVALID_PARAMETER;
  if (IsReserved(key)) return APP_CONTROL_ERROR_KEY_REJECTED;
  return kBoundary.Run([=]() -> int {
    app_control->extra_data[key] = value;
    return APP_CONTROL_ERROR_NONE;
  });
}

EXPORT_API int app_control_get_extra_data(app_control_h app_control, const char* key,
                                          char** value) {
  if (app_control == nullptr || IsEmpty(key) || value == nullptr)
    return APP_CONTROL_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([=]() -> int {
    const auto found = app_control->extra_data.find(key);
    if (found == app_control->extra_data.end()) return APP_CONTROL_ERROR_KEY_NOT_FOUND;
    return CopyText(found->second, value);
  });
}

EXPORT_API int app_control_remove_extra_data(app_control_h app_control, const char* key) {
  if (app_control == nullptr || IsEmpty(key)) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  if (IsReserved(key)) return APP_CONTROL_ERROR_KEY_REJECTED;
  return kBoundary.Run([=]() -> int {
    return app_control->extra_data.erase(key) == 1 ? APP_CONTROL_ERROR_NONE
                                                   : APP_CONTROL_ERROR_KEY_NOT_FOUND;
  });
}

EXPORT_API int app_control_foreach_extra_data(app_control_h app_control,
                                              app_control_extra_data_cb callback, void* user_data) {
  if (app_control == nullptr || callback == nullptr) return APP_CONTROL_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([=]() -> int {
    // A copy of the keys: the callback may change the request.
    std::vector<std::string> keys;
    for (const auto& pair : app_control->extra_data) keys.push_back(pair.first);
    for (const std::string& key : keys)
      if (!callback(app_control, key.c_str(), user_data)) break;
    return APP_CONTROL_ERROR_NONE;
  });
}

EXPORT_API int app_control_send_launch_request(app_control_h app_control,
                                               app_control_reply_cb callback, void*) {
  if (app_control == nullptr || callback != nullptr || !app_control->app_id)
    return APP_CONTROL_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([=]() -> int {
    const auto application = platform::FindApplication(*app_control->app_id);
    if (!application) return APP_CONTROL_ERROR_APP_NOT_FOUND;
    platform::LaunchApplication(*application, platform::EncodeRequest(*app_control));
    return APP_CONTROL_ERROR_NONE;
  });
}

EXPORT_API int app_control_get_caller(app_control_h app_control, char** id) {
  if (app_control == nullptr || id == nullptr || !app_control->caller)
    return APP_CONTROL_ERROR_INVALID_PARAMETER;
  if (app_control->caller->empty()) return APP_CONTROL_ERROR_APP_NOT_FOUND;
  return CopyText(*app_control->caller, id);
}

EXPORT_API int platform_app_control_receive(const uint8_t* bytes, size_t size, const char* caller,
                                            app_control_h* request) {
  return kBoundary.Run([=]() -> int {
    auto received = std::make_unique<app_control_s>();
    if (!platform::DecodeRequest(bytes, size, received.get()))
      return APP_CONTROL_ERROR_INVALID_PARAMETER;
    received->caller = caller;
    *request = received.release();
    return APP_CONTROL_ERROR_NONE;
  });
}
