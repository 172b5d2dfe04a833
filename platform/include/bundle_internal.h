/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_BUNDLE_INTERNAL_H_
#define PLATFORM_BUNDLE_INTERNAL_H_

/* The binary form of a bundle, for the platform's transports. */
#include <bundle.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Release the encoded bytes with free(), the decoded bundle with bundle_free(). */
int bundle_encode_raw(bundle* b, bundle_raw** r, int* len);
bundle* bundle_decode_raw(const bundle_raw* r, const int len);

#ifdef __cplusplus
}
#endif

#endif
