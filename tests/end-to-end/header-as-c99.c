/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

/* A public header alone must be strict C99. */
#include HEADER

int qor_header_is_strict_c99(void);

int qor_header_is_strict_c99(void) { return 0; }
