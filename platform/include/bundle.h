/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_BUNDLE_H_
#define PLATFORM_BUNDLE_H_

/* A dictionary of typed values, carried by launch requests and parcels. Values are copied in.
   Getters return pointers into the bundle, which are valid until the value is deleted or the bundle
   freed. Not thread-safe. */
#include <stddef.h>
#include <tizen_error.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct _bundle_t bundle;
typedef unsigned char bundle_raw;
typedef struct keyval_t bundle_keyval_t;

typedef enum {
  BUNDLE_ERROR_NONE = TIZEN_ERROR_NONE,
  BUNDLE_ERROR_OUT_OF_MEMORY = TIZEN_ERROR_OUT_OF_MEMORY,
  BUNDLE_ERROR_INVALID_PARAMETER = TIZEN_ERROR_INVALID_PARAMETER,
  BUNDLE_ERROR_KEY_NOT_AVAILABLE = TIZEN_ERROR_KEY_NOT_AVAILABLE,
  BUNDLE_ERROR_KEY_EXISTS = TIZEN_ERROR_BUNDLE | 0x01
} bundle_error_e;

enum bundle_type_property {
  BUNDLE_TYPE_ARRAY = 0x0100,
  BUNDLE_TYPE_PRIMITIVE = 0x0200,
  BUNDLE_TYPE_MEASURABLE = 0x0400
};

enum bundle_type {
  BUNDLE_TYPE_NONE = -1,
  BUNDLE_TYPE_ANY = 0,
  BUNDLE_TYPE_STR = 1 | BUNDLE_TYPE_MEASURABLE,
  BUNDLE_TYPE_STR_ARRAY = BUNDLE_TYPE_STR | BUNDLE_TYPE_ARRAY,
  BUNDLE_TYPE_BYTE = 2,
  BUNDLE_TYPE_BYTE_ARRAY = BUNDLE_TYPE_BYTE | BUNDLE_TYPE_ARRAY
};

typedef void (*bundle_iterator_t)(const char* key, const int type, const bundle_keyval_t* kv,
                                  void* user_data);

/* Both return NULL on failure and set the last result. Release with bundle_free(). */
bundle* bundle_create(void);
bundle* bundle_dup(bundle* b_from);
int bundle_free(bundle* b);

/* BUNDLE_ERROR_KEY_EXISTS when the key exists with any type. */
int bundle_add_str(bundle* b, const char* key, const char* str);
int bundle_add_str_array(bundle* b, const char* key, const char** str_array, const int len);
int bundle_add_byte(bundle* b, const char* key, const void* byte, const size_t size);

/* BUNDLE_ERROR_KEY_NOT_AVAILABLE when the key is missing or has another type. */
int bundle_get_str(bundle* b, const char* key, char** str);
const char** bundle_get_str_array(bundle* b, const char* key, int* len);
int bundle_get_byte(bundle* b, const char* key, void** byte, size_t* size);

int bundle_del(bundle* b, const char* key);
int bundle_get_count(bundle* b);
int bundle_get_type(bundle* b, const char* key);

/* Calls iter for every pair, in unspecified order. iter must not modify the bundle. */
void bundle_foreach(bundle* b, bundle_iterator_t iter, void* user_data);
int bundle_keyval_get_type(bundle_keyval_t* kv);
int bundle_keyval_type_is_array(bundle_keyval_t* kv);
int bundle_keyval_get_basic_val(bundle_keyval_t* kv, void** val, size_t* size);
int bundle_keyval_get_array_val(bundle_keyval_t* kv, void*** array_val, unsigned int* array_len,
                                size_t** array_element_size);

#ifdef __cplusplus
}
#endif

#endif
