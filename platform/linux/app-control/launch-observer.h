/* Copyright 2026 The qor-handler-manager authors */
/* SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_LINUX_APP_CONTROL_LAUNCH_OBSERVER_H_
#define PLATFORM_LINUX_APP_CONTROL_LAUNCH_OBSERVER_H_

/* How the processes end that this process has launched with app_control_send_launch_request(). An
   addition of the Linux platform for tools: a device has no such functions. Exported by
   libcapi-appfw-app-control.

   Observed are launches on the main loop's thread; what other threads launch is not. Main loop's
   thread only. */

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
  QOR_PLATFORM_PROCESS_EXITED,
  QOR_PLATFORM_PROCESS_KILLED,
  /* The executable could not be executed. */
  QOR_PLATFORM_PROCESS_NOT_STARTED,
  /* The process has ended, and this process has waited for its children by itself. */
  QOR_PLATFORM_PROCESS_UNKNOWN,
} qor_platform_process_end_e;

typedef struct {
  qor_platform_process_end_e kind;
  /* The exit status of QOR_PLATFORM_PROCESS_EXITED, else 0. */
  int status;
  /* The signal of QOR_PLATFORM_PROCESS_KILLED, else 0. */
  int signal;
  /* Whether the signal produced a core dump. */
  int dumped_core;
  /* Whether the process had connected to a port of this process. */
  int has_connected;
  /* One line: "exited with status 127: libfoo.so.0 not found". Ends with the callback. May contain
     control characters that the application has written. */
  const char* text;
} qor_platform_process_end_s;

/* Called on the main loop when a process has ended, never from within a launch. `pid` is 0 for
   QOR_PLATFORM_PROCESS_NOT_STARTED. May call every function. */
typedef void (*qor_platform_process_end_cb)(const char* app_id, pid_t pid,
                                            const qor_platform_process_end_s* end, void* user_data);

/* Adds an observer of processes that end from now on. Returns 0, or a negative error code of the
   platform when out of memory or when there is no callback. */
int qor_platform_add_process_end_cb(qor_platform_process_end_cb callback, void* user_data);

/* Removes all observers with this callback and data. */
void qor_platform_remove_process_end_cb(qor_platform_process_end_cb callback, void* user_data);

#ifdef __cplusplus
}
#endif

#endif
