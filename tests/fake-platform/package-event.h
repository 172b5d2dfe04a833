/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef TESTS_FAKE_PLATFORM_PACKAGE_EVENT_H_
#define TESTS_FAKE_PLATFORM_PACKAGE_EVENT_H_

#include <package_manager.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Calls a package event callback. Written in C, as a device's library is: there an enumeration
   holds any number, while C++ has no defined way to pass one out of its range. */
void fake_call_package_event_cb(package_manager_event_cb callback, const char* type,
                                const char* package, int event_type,
                                package_manager_event_state_e event_state, void* user_data);

#ifdef __cplusplus
}
#endif

#endif
