/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_APP_INFO_H_
#define PLATFORM_APP_INFO_H_

/* Installed applications. Release returned strings with free(). Callbacks return true to continue.
   A handle passed to a callback is valid only inside it. */
#include <tizen.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct app_info_s* app_info_h;
typedef struct app_info_metadata_filter_s* app_info_metadata_filter_h;

typedef bool (*app_info_metadata_cb)(const char* metadata_key, const char* metadata_value,
                                     void* user_data);
typedef bool (*app_info_filter_cb)(app_info_h app_info, void* user_data);

int app_info_create(const char* app_id, app_info_h* app_info);
int app_info_destroy(app_info_h app_info);
int app_info_get_app_id(app_info_h app_info, char** app_id);
int app_info_get_exec(app_info_h app_info, char** exec);
int app_info_get_package(app_info_h app_info, char** package);
int app_info_foreach_metadata(app_info_h app_info, app_info_metadata_cb callback, void* user_data);
int app_info_is_preload(app_info_h app_info, bool* preload);

/* Selects applications that meet all conditions; a NULL value matches every value of the key. */
int app_info_metadata_filter_create(app_info_metadata_filter_h* handle);
int app_info_metadata_filter_destroy(app_info_metadata_filter_h handle);
int app_info_metadata_filter_add(app_info_metadata_filter_h handle, const char* key,
                                 const char* value);
int app_info_metadata_filter_foreach(app_info_metadata_filter_h handle, app_info_filter_cb callback,
                                     void* user_data);

#ifdef __cplusplus
}
#endif

#endif
