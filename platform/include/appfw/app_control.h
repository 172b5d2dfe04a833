/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_APP_CONTROL_H_
#define PLATFORM_APP_CONTROL_H_

/* Requests from one application to another. Texts in are copied; texts out are released with
 * free(). */
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
/* Returns true to go on to the next key. */
typedef bool (*app_control_extra_data_cb)(app_control_h app_control, const char* key,
                                          void* user_data);

int app_control_create(app_control_h* app_control);
int app_control_destroy(app_control_h app_control);
int app_control_clone(app_control_h* clone, app_control_h app_control);

/* A NULL id clears it. */
int app_control_set_app_id(app_control_h app_control, const char* app_id);
int app_control_get_app_id(app_control_h app_control, char** app_id);

/* Replaces a value of the same key. A key of the platform's own (beginning with two underscores) is
   APP_CONTROL_ERROR_KEY_REJECTED, an empty key or value APP_CONTROL_ERROR_INVALID_PARAMETER. */
int app_control_add_extra_data(app_control_h app_control, const char* key, const char* value);
int app_control_get_extra_data(app_control_h app_control, const char* key, char** value);
int app_control_remove_extra_data(app_control_h app_control, const char* key);
int app_control_foreach_extra_data(app_control_h app_control, app_control_extra_data_cb callback,
                                   void* user_data);

/* Starts the application unless it runs, then hands it the request; returns before the application
   has handled it. The reply callback may be NULL; on an ordinary Linux machine it must be. Errors:
   APP_CONTROL_ERROR_INVALID_PARAMETER  no application id, a reply callback where there are no
                                        replies, or a request of more than 128 KiB
   APP_CONTROL_ERROR_APP_NOT_FOUND      no such application is installed
   APP_CONTROL_ERROR_LAUNCH_FAILED      its executable cannot be started or ends at once
   APP_CONTROL_ERROR_TIMED_OUT          it runs, but takes no requests
   APP_CONTROL_ERROR_IO_ERROR           package database or sockets fail; the log says how */
int app_control_send_launch_request(app_control_h app_control, app_control_reply_cb callback,
                                    void* user_data);

/* Who sent a received request; APP_CONTROL_ERROR_INVALID_PARAMETER for one made here,
   APP_CONTROL_ERROR_APP_NOT_FOUND when the sender was gone before the request was taken. */
int app_control_get_caller(app_control_h app_control, char** id);

#ifdef __cplusplus
}
#endif

#endif
