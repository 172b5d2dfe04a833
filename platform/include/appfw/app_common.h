/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_APP_COMMON_H_
#define PLATFORM_APP_COMMON_H_

/* What an application knows of itself. Texts out are released with free(). */
#include <app_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* APP_ERROR_INVALID_CONTEXT for a process that is no installed application. */
int app_get_id(char** id);

/* Absolute folder path with a trailing slash, or NULL with the reason as the thread's last result:
   APP_ERROR_PERMISSION_DENIED for a data folder that cannot be made or reached (the log names it),
   APP_ERROR_INVALID_CONTEXT when there is none for this process. On an ordinary Linux machine a
   process that is no installed application has a data folder too, but no resources. The data folder
   is made when missing; it outlives updates of the package, but not its uninstallation. */
char* app_get_data_path(void);
char* app_get_resource_path(void);

#ifdef __cplusplus
}
#endif

#endif
