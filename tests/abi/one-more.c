/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#include <qor_handler_manager.h>

EXPORT_API int qor_handler_manager_one_more(void);

int qor_handler_manager_one_more(void) { return QOR_HANDLER_MANAGER_ERROR_NONE; }
