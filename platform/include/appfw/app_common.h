/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_APP_COMMON_H_
#define PLATFORM_APP_COMMON_H_

/* Id and folders of the calling application. Release returned strings with free(). */
#include <app_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* APP_ERROR_INVALID_CONTEXT when the process is not an installed application. */
int app_get_id(char** id);

/* Both return an absolute path with a trailing slash, or NULL and set the last result:
   APP_ERROR_PERMISSION_DENIED when the data folder cannot be created or accessed (the log names
   it), APP_ERROR_INVALID_CONTEXT when the process has no such folder. On ordinary Linux, a process
   that is not an installed application has a data folder but no resources. The data folder is
   created when missing. It is kept by updates of the package and removed by its uninstallation. */
char* app_get_data_path(void);
char* app_get_resource_path(void);

#ifdef __cplusplus
}
#endif

#endif
