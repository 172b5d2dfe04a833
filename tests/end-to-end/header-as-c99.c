/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

/* The public header alone must be strict C99. */
#include <qor_handler_manager.h>

int qor_header_is_strict_c99(void);

int qor_header_is_strict_c99(void) { return QOR_HANDLER_MANAGER_ERROR_NONE; }
