/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_TIZEN_H_
#define PLATFORM_TIZEN_H_

/* Common to all platform interfaces: types, error values, symbol visibility. */
#include <tizen_error.h>
#include <tizen_type.h>

#ifndef EXPORT_API
#define EXPORT_API __attribute__((visibility("default")))
#endif

#ifndef DEPRECATED_API
#define DEPRECATED_API __attribute__((visibility("default"), deprecated))
#endif

#ifndef DEPRECATED_TYPE
#define DEPRECATED_TYPE __attribute__((deprecated))
#endif

#endif
