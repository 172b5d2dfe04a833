/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_SERVICE_APP_H_
#define PLATFORM_SERVICE_APP_H_

/* The life cycle of an application without windows. */
#include <app_common.h>
#include <app_control.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Returns false to cancel the launch; the other callbacks are then not called. */
typedef bool (*service_app_create_cb)(void* user_data);
typedef void (*service_app_terminate_cb)(void* user_data);
/* The request belongs to the platform and is valid only inside the callback. */
typedef void (*service_app_control_cb)(app_control_h app_control, void* user_data);

typedef struct {
  service_app_create_cb create;
  service_app_terminate_cb terminate;
  service_app_control_cb app_control;
} service_app_lifecycle_callback_s;

/* Runs the application until service_app_exit(), SIGTERM or SIGINT, then the terminate callback,
   and returns APP_ERROR_NONE. All callbacks run in the calling thread. APP_ERROR_INVALID_CONTEXT
   when it was not launched by the platform, APP_ERROR_ALREADY_RUNNING when it is running already,
   APP_ERROR_INVALID_PARAMETER without arguments or create callback. Other callbacks may be NULL. */
int service_app_main(int argc, char** argv, service_app_lifecycle_callback_s* callback,
                     void* user_data);
/* Must be called from a callback of the application. */
void service_app_exit(void);

#ifdef __cplusplus
}
#endif

#endif
