// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <bundle.h>
#include <tizen.h>

#include "platform/linux/bundle/values.h"

EXPORT_API int bundle_keyval_get_type(bundle_keyval_t* kv) {
  set_last_result(kv == nullptr ? BUNDLE_ERROR_INVALID_PARAMETER : BUNDLE_ERROR_NONE);
  return kv == nullptr ? BUNDLE_TYPE_NONE : kv->type();
}

EXPORT_API int bundle_keyval_type_is_array(bundle_keyval_t* kv) {
  set_last_result(kv == nullptr ? BUNDLE_ERROR_INVALID_PARAMETER : BUNDLE_ERROR_NONE);
  return kv != nullptr && kv->IsArray() ? 1 : 0;
}

EXPORT_API int bundle_keyval_get_basic_val(bundle_keyval_t* kv, void** val, size_t* size) {
  if (kv == nullptr || val == nullptr || size == nullptr || kv->IsArray()) {
    return BUNDLE_ERROR_INVALID_PARAMETER;
  }
  *val = kv->elements()[0];
  *size = kv->sizes()[0];
  return BUNDLE_ERROR_NONE;
}

EXPORT_API int bundle_keyval_get_array_val(bundle_keyval_t* kv, void*** array_val,
                                           unsigned int* array_len, size_t** array_element_size) {
  if (kv == nullptr || array_val == nullptr || array_len == nullptr ||
      array_element_size == nullptr || !kv->IsArray()) {
    return BUNDLE_ERROR_INVALID_PARAMETER;
  }
  *array_val = kv->elements();
  *array_len = static_cast<unsigned int>(kv->count());
  *array_element_size = kv->sizes();
  return BUNDLE_ERROR_NONE;
}
