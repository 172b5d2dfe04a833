/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_PACKAGE_INFO_H_
#define PLATFORM_PACKAGE_INFO_H_

/* Installed packages. Release returned strings with free(). Callbacks return true to continue. A
   handle passed to a callback is valid only inside it. */
#include <tizen.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct package_info_s* package_info_h;

typedef enum {
  PACKAGE_INFO_ALLAPP = 0,
  PACKAGE_INFO_UIAPP,
  PACKAGE_INFO_SERVICEAPP,
  PACKAGE_INFO_WIDGETAPP,
  PACKAGE_INFO_WATCHAPP
} package_info_app_component_type_e;

typedef bool (*package_info_app_cb)(package_info_app_component_type_e comp_type, const char* app_id,
                                    void* user_data);
typedef bool (*package_info_privilege_info_cb)(const char* privilege_name, void* user_data);

int package_info_create(const char* package, package_info_h* package_info);
int package_info_destroy(package_info_h package_info);
int package_info_get_package(package_info_h package_info, char** package);
int package_info_get_version(package_info_h package_info, char** version);
/* "tpk" for a native package. */
int package_info_get_type(package_info_h package_info, char** type);
/* Absolute path of the installed folder, without a trailing slash. */
int package_info_get_root_path(package_info_h package_info, char** path);
int package_info_is_preload_package(package_info_h package_info, bool* preload);
/* In manifest order. */
int package_info_foreach_app_from_package(package_info_h package_info,
                                          package_info_app_component_type_e comp_type,
                                          package_info_app_cb callback, void* user_data);
int package_info_foreach_privilege_info(package_info_h package_info,
                                        package_info_privilege_info_cb callback, void* user_data);

#ifdef __cplusplus
}
#endif

#endif
