/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_APP_COMMON_H_
#define PLATFORM_APP_COMMON_H_

/* What an application knows of itself. Texts out are released with free(). */
#include <app_types.h>

#ifdef __cplusplus
extern "C" {
#endif

int app_get_id(char** id);

/* Absolute folder path with a trailing slash, or NULL with the reason as the thread's last result.
 */
char* app_get_data_path(void);
char* app_get_resource_path(void);

#ifdef __cplusplus
}
#endif

#endif
