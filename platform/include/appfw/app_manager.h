/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_APP_MANAGER_H_
#define PLATFORM_APP_MANAGER_H_

/* Queries about applications. */
#include <app_info.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
  APP_MANAGER_ERROR_NONE = TIZEN_ERROR_NONE,
  APP_MANAGER_ERROR_INVALID_PARAMETER = TIZEN_ERROR_INVALID_PARAMETER,
  APP_MANAGER_ERROR_OUT_OF_MEMORY = TIZEN_ERROR_OUT_OF_MEMORY,
  APP_MANAGER_ERROR_IO_ERROR = TIZEN_ERROR_IO_ERROR,
  APP_MANAGER_ERROR_NO_SUCH_APP = TIZEN_ERROR_APPLICATION_MANAGER | 0x01,
  APP_MANAGER_ERROR_DB_FAILED = TIZEN_ERROR_APPLICATION_MANAGER | 0x03,
  APP_MANAGER_ERROR_INVALID_PACKAGE = TIZEN_ERROR_APPLICATION_MANAGER | 0x04,
  APP_MANAGER_ERROR_APP_NO_RUNNING = TIZEN_ERROR_APPLICATION_MANAGER | 0x05,
  APP_MANAGER_ERROR_REQUEST_FAILED = TIZEN_ERROR_APPLICATION_MANAGER | 0x06,
  APP_MANAGER_ERROR_PERMISSION_DENIED = TIZEN_ERROR_PERMISSION_DENIED,
  APP_MANAGER_ERROR_NOT_SUPPORTED = TIZEN_ERROR_NOT_SUPPORTED
} app_manager_error_e;

/* Equivalent to app_info_create(). */
int app_manager_get_app_info(const char* app_id, app_info_h* app_info);
/* APP_MANAGER_ERROR_NO_SUCH_APP when the process is not an installed application. */
int app_manager_get_app_id(pid_t pid, char** app_id);
int app_manager_is_running(const char* app_id, bool* running);

#ifdef __cplusplus
}
#endif

#endif
