/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_TIZEN_TYPE_H_
#define PLATFORM_TIZEN_TYPE_H_

/* The platform's basic types: C99 bool and the fixed-width integers. */
#include <stdbool.h>
#include <stdint.h>

#endif
