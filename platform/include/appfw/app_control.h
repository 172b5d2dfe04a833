/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_APP_CONTROL_H_
#define PLATFORM_APP_CONTROL_H_

/* Launch requests from one application to another. Strings in are copied. Release returned strings
 * with free(). */
#include <tizen.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct app_control_s* app_control_h;

typedef enum {
  APP_CONTROL_ERROR_NONE = TIZEN_ERROR_NONE,
  APP_CONTROL_ERROR_INVALID_PARAMETER = TIZEN_ERROR_INVALID_PARAMETER,
  APP_CONTROL_ERROR_OUT_OF_MEMORY = TIZEN_ERROR_OUT_OF_MEMORY,
  APP_CONTROL_ERROR_APP_NOT_FOUND = TIZEN_ERROR_APPLICATION | 0x21,
  APP_CONTROL_ERROR_KEY_NOT_FOUND = TIZEN_ERROR_KEY_NOT_AVAILABLE,
  APP_CONTROL_ERROR_KEY_REJECTED = TIZEN_ERROR_KEY_REJECTED,
  APP_CONTROL_ERROR_INVALID_DATA_TYPE = TIZEN_ERROR_APPLICATION | 0x22,
  APP_CONTROL_ERROR_LAUNCH_REJECTED = TIZEN_ERROR_APPLICATION | 0x23,
  APP_CONTROL_ERROR_PERMISSION_DENIED = TIZEN_ERROR_PERMISSION_DENIED,
  APP_CONTROL_ERROR_LAUNCH_FAILED = TIZEN_ERROR_APPLICATION | 0x24,
  APP_CONTROL_ERROR_TIMED_OUT = TIZEN_ERROR_TIMED_OUT,
  APP_CONTROL_ERROR_IO_ERROR = TIZEN_ERROR_IO_ERROR
} app_control_error_e;

typedef enum {
  APP_CONTROL_RESULT_APP_STARTED = 1,
  APP_CONTROL_RESULT_SUCCEEDED = 0,
  APP_CONTROL_RESULT_FAILED = -1,
  APP_CONTROL_RESULT_CANCELED = -2
} app_control_result_e;

typedef void (*app_control_reply_cb)(app_control_h request, app_control_h reply,
                                     app_control_result_e result, void* user_data);
/* Returns true to continue with the next key. */
typedef bool (*app_control_extra_data_cb)(app_control_h app_control, const char* key,
                                          void* user_data);

int app_control_create(app_control_h* app_control);
int app_control_destroy(app_control_h app_control);
int app_control_clone(app_control_h* clone, app_control_h app_control);

/* NULL clears the id. */
int app_control_set_app_id(app_control_h app_control, const char* app_id);
int app_control_get_app_id(app_control_h app_control, char** app_id);

/* Replaces a value of the same key. APP_CONTROL_ERROR_KEY_REJECTED for keys with two underscores at
   the beginning, which are reserved; APP_CONTROL_ERROR_INVALID_PARAMETER for empty arguments. */
int app_control_add_extra_data(app_control_h app_control, const char* key, const char* value);
int app_control_get_extra_data(app_control_h app_control, const char* key, char** value);
int app_control_remove_extra_data(app_control_h app_control, const char* key);
int app_control_foreach_extra_data(app_control_h app_control, app_control_extra_data_cb callback,
                                   void* user_data);

/* Starts the application unless it is running, and sends it the request. Does not wait until the
   application has handled it. On ordinary Linux the reply callback must be NULL. Errors:
   APP_CONTROL_ERROR_INVALID_PARAMETER  no application id, an unsupported reply callback, or more
                                        than 128 KiB
   APP_CONTROL_ERROR_APP_NOT_FOUND      the application is not installed
   APP_CONTROL_ERROR_LAUNCH_FAILED      its executable cannot be started or exits immediately
   APP_CONTROL_ERROR_TIMED_OUT          it is running but accepts no requests
   APP_CONTROL_ERROR_IO_ERROR           failure of the package database or a socket, see the log */
int app_control_send_launch_request(app_control_h app_control, app_control_reply_cb callback,
                                    void* user_data);

/* Returns the id of the sender of a received request. APP_CONTROL_ERROR_INVALID_PARAMETER for other
   requests, APP_CONTROL_ERROR_APP_NOT_FOUND when the sender exited before it was identified. */
int app_control_get_caller(app_control_h app_control, char** id);

#ifdef __cplusplus
}
#endif

#endif
