/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_PACKAGE_MANAGER_H_
#define PLATFORM_PACKAGE_MANAGER_H_

/* Queries, events and requests of package management. Event callbacks run on the main loop and may
   release any handle, including that of their manager. Functions that set or unset events block
   until the main loop has run them when they are called from another thread. */
#include <package_info.h>
#include <sys/types.h>
#include <tizen.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct package_manager_s* package_manager_h;
typedef struct package_manager_request_s* package_manager_request_h;

typedef enum {
  PACKAGE_MANAGER_ERROR_NONE = TIZEN_ERROR_NONE,
  PACKAGE_MANAGER_ERROR_INVALID_PARAMETER = TIZEN_ERROR_INVALID_PARAMETER,
  PACKAGE_MANAGER_ERROR_OUT_OF_MEMORY = TIZEN_ERROR_OUT_OF_MEMORY,
  PACKAGE_MANAGER_ERROR_IO_ERROR = TIZEN_ERROR_IO_ERROR,
  PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE = TIZEN_ERROR_PACKAGE_MANAGER | 0x71,
  PACKAGE_MANAGER_ERROR_SYSTEM_ERROR = TIZEN_ERROR_PACKAGE_MANAGER | 0x72,
  PACKAGE_MANAGER_ERROR_PERMISSION_DENIED = TIZEN_ERROR_PERMISSION_DENIED
} package_manager_error_e;

typedef enum {
  PACKAGE_MANAGER_EVENT_TYPE_INSTALL = 0,
  PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL,
  PACKAGE_MANAGER_EVENT_TYPE_UPDATE,
  PACKAGE_MANAGER_EVENT_TYPE_MOVE,
  PACKAGE_MANAGER_EVENT_TYPE_CLEAR,
  PACKAGE_MANAGER_EVENT_TYPE_RES_COPY,
  PACKAGE_MANAGER_EVENT_TYPE_RES_CREATE_DIR,
  PACKAGE_MANAGER_EVENT_TYPE_RES_REMOVE,
  PACKAGE_MANAGER_EVENT_TYPE_RES_UNINSTALL
} package_manager_event_type_e;

typedef enum {
  PACKAGE_MANAGER_EVENT_STATE_STARTED = 0,
  PACKAGE_MANAGER_EVENT_STATE_PROCESSING,
  PACKAGE_MANAGER_EVENT_STATE_COMPLETED,
  PACKAGE_MANAGER_EVENT_STATE_FAILED
} package_manager_event_state_e;

typedef enum {
  PACKAGE_MANAGER_STATUS_TYPE_ALL = 0x00,
  PACKAGE_MANAGER_STATUS_TYPE_INSTALL = 0x01,
  PACKAGE_MANAGER_STATUS_TYPE_UNINSTALL = 0x02,
  PACKAGE_MANAGER_STATUS_TYPE_UPGRADE = 0x04
} package_manager_status_type_e;

/* `progress` is 0 to 100. `error` is valid only in the failed state. */
typedef void (*package_manager_event_cb)(const char* type, const char* package,
                                         package_manager_event_type_e event_type,
                                         package_manager_event_state_e event_state, int progress,
                                         package_manager_error_e error, void* user_data);

int package_manager_create(package_manager_h* manager);
int package_manager_destroy(package_manager_h manager);
/* Selects events by a bit mask of status types. No events are delivered before the first call. */
int package_manager_set_event_status(package_manager_h manager, int status_type);
int package_manager_set_event_cb(package_manager_h manager, package_manager_event_cb callback,
                                 void* user_data);
int package_manager_unset_event_cb(package_manager_h manager);

typedef bool (*package_manager_package_info_cb)(package_info_h package_info, void* user_data);
int package_manager_foreach_package_info(package_manager_package_info_cb callback, void* user_data);
/* Release with package_info_destroy(). */
int package_manager_get_package_info(const char* package_id, package_info_h* package_info);

/* Requests: `path` is a package file or, on an ordinary machine, an unpacked package folder; a
   package that is installed already is updated. The callback receives the progress of this request.
   `id` receives the number of the request and may be NULL.

   On an ordinary machine a request is completed inside the call, and the result is its final error:
   INVALID_PARAMETER for an invalid package (the log names the cause; no event is raised),
   NO_SUCH_PACKAGE, IO_ERROR or PERMISSION_DENIED for files, SYSTEM_ERROR for the package database
   and for a request from inside a callback of another one. The callback runs in the caller's
   thread. An event waits until the listeners of all processes have handled it: the started event of
   an uninstallation for up to 5 seconds, others for up to 1. Processes of a package that is updated
   or uninstalled are terminated: SIGTERM, after 2 seconds SIGKILL. A package contains at most 65536
   files, folders and links, and 1 GiB. */
typedef void (*package_manager_request_event_cb)(int id, const char* type, const char* package,
                                                 package_manager_event_type_e event_type,
                                                 package_manager_event_state_e event_state,
                                                 int progress, package_manager_error_e error,
                                                 void* user_data);

int package_manager_request_create(package_manager_request_h* request);
int package_manager_request_destroy(package_manager_request_h request);
int package_manager_request_set_event_cb(package_manager_request_h request,
                                         package_manager_request_event_cb callback,
                                         void* user_data);
int package_manager_request_install(package_manager_request_h request, const char* path, int* id);
int package_manager_request_uninstall(package_manager_request_h request, const char* name, int* id);

#ifdef __cplusplus
}
#endif

#endif
