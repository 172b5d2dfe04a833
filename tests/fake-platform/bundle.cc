// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <bundle.h>
#include <tizen.h>

#include "state.h"

using fake::internal::Bundle;
using fake::internal::FunctionCall;
using fake::internal::GetState;

namespace {

std::shared_ptr<Bundle> FindBundle(const bundle* b, const char* function) {
  return fake::internal::Find(GetState().bundles, b, function);
}

bundle* ReturnBundle(fake::internal::BundleContent content) {
  auto object = std::make_shared<Bundle>();
  object->content = std::move(content);
  set_last_result(BUNDLE_ERROR_NONE);
  return static_cast<bundle*>(GetState().bundles.Add(object));
}

bundle* ReturnError(int error) {
  set_last_result(error);
  return nullptr;
}

int Add(bundle* b, const char* key, int type, std::vector<std::string> elements,
        const char* function) {
  const auto object = FindBundle(b, function);
  if (!object || !key || !*key) return BUNDLE_ERROR_INVALID_PARAMETER;
  if (object->content.count(key)) return BUNDLE_ERROR_KEY_EXISTS;
  object->content.emplace(key, std::make_shared<keyval_t>(type, std::move(elements)));
  return BUNDLE_ERROR_NONE;
}

// Returns the value of a key and type, or null and sets `*error`.
keyval_t* Value(bundle* b, const char* key, int type, int* error, const char* function) {
  const auto object = FindBundle(b, function);
  *error = BUNDLE_ERROR_INVALID_PARAMETER;
  if (!object || !key) return nullptr;
  const auto found = object->content.find(key);
  *error = BUNDLE_ERROR_KEY_NOT_AVAILABLE;
  if (found == object->content.end()) return nullptr;
  if (type != BUNDLE_TYPE_ANY && found->second->type != type) return nullptr;
  *error = BUNDLE_ERROR_NONE;
  return found->second.get();
}

}  // namespace

extern "C" {

bundle* bundle_create(void) {
  const FunctionCall call(__func__);
  if (call.error != 0) return ReturnError(call.error);
  return ReturnBundle({});
}

bundle* bundle_dup(bundle* b_from) {
  const FunctionCall call(__func__);
  if (call.error != 0) return ReturnError(call.error);
  const auto object = FindBundle(b_from, __func__);
  if (!object) return ReturnError(BUNDLE_ERROR_INVALID_PARAMETER);
  fake::internal::BundleContent copy;
  for (const auto& [key, value] : object->content) {
    copy.emplace(key, std::make_shared<keyval_t>(value->type, value->elements));
  }
  return ReturnBundle(std::move(copy));
}

int bundle_free(bundle* b) {
  const FunctionCall call(__func__);
  if (!FindBundle(b, __func__)) return BUNDLE_ERROR_INVALID_PARAMETER;
  GetState().bundles.Remove(b);
  return call.error;
}

int bundle_add_str(bundle* b, const char* key, const char* str) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  if (!str) return BUNDLE_ERROR_INVALID_PARAMETER;
  return Add(b, key, BUNDLE_TYPE_STR, {str}, __func__);
}

int bundle_add_str_array(bundle* b, const char* key, const char** str_array, const int len) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  if (!str_array || len <= 0) return BUNDLE_ERROR_INVALID_PARAMETER;
  return Add(b, key, BUNDLE_TYPE_STR_ARRAY, std::vector<std::string>(str_array, str_array + len),
             __func__);
}

int bundle_add_byte(bundle* b, const char* key, const void* byte, const size_t size) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  if (!byte || size == 0) return BUNDLE_ERROR_INVALID_PARAMETER;
  return Add(b, key, BUNDLE_TYPE_BYTE, {std::string(static_cast<const char*>(byte), size)},
             __func__);
}

int bundle_get_str(bundle* b, const char* key, char** str) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  int error = BUNDLE_ERROR_NONE;
  if (!str) return BUNDLE_ERROR_INVALID_PARAMETER;
  keyval_t* value = Value(b, key, BUNDLE_TYPE_STR, &error, __func__);
  if (value) *str = value->elements[0].data();
  return error;
}

const char** bundle_get_str_array(bundle* b, const char* key, int* len) {
  const FunctionCall call(__func__);
  int error = call.error;
  keyval_t* value = error ? nullptr : Value(b, key, BUNDLE_TYPE_STR_ARRAY, &error, __func__);
  set_last_result(error);
  if (!value) return nullptr;
  if (len) *len = static_cast<int>(value->pointers.size());
  return value->pointers.data();
}

int bundle_get_byte(bundle* b, const char* key, void** byte, size_t* size) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  if (!byte || !size) return BUNDLE_ERROR_INVALID_PARAMETER;
  int error = BUNDLE_ERROR_NONE;
  keyval_t* value = Value(b, key, BUNDLE_TYPE_BYTE, &error, __func__);
  if (!value) return error;
  *byte = value->elements[0].data();
  *size = value->sizes[0];
  return BUNDLE_ERROR_NONE;
}

int bundle_del(bundle* b, const char* key) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  int error = BUNDLE_ERROR_NONE;
  if (Value(b, key, BUNDLE_TYPE_ANY, &error, __func__)) {
    FindBundle(b, __func__)->content.erase(key);
  }
  return error;
}

int bundle_get_count(bundle* b) {
  const FunctionCall call(__func__);
  const auto object = FindBundle(b, __func__);
  set_last_result(object ? BUNDLE_ERROR_NONE : BUNDLE_ERROR_INVALID_PARAMETER);
  return object ? static_cast<int>(object->content.size()) : 0;
}

int bundle_get_type(bundle* b, const char* key) {
  const FunctionCall call(__func__);
  int error = BUNDLE_ERROR_NONE;
  const keyval_t* value = Value(b, key, BUNDLE_TYPE_ANY, &error, __func__);
  set_last_result(error);
  return value ? value->type : static_cast<int>(BUNDLE_TYPE_NONE);
}

void bundle_foreach(bundle* b, bundle_iterator_t iter, void* user_data) {
  const FunctionCall call(__func__);
  const auto object = FindBundle(b, __func__);
  const bool usable = object && iter;
  set_last_result(usable ? BUNDLE_ERROR_NONE : BUNDLE_ERROR_INVALID_PARAMETER);
  if (!usable) return;
  for (const auto& [key, value] : object->content) {
    fake::internal::CallBack(iter, key.c_str(), value->type, value.get(), user_data);
  }
}

int bundle_keyval_get_type(bundle_keyval_t* kv) { return kv ? kv->type : -1; }

int bundle_keyval_type_is_array(bundle_keyval_t* kv) {
  return kv && (kv->type & BUNDLE_TYPE_ARRAY) ? 1 : 0;
}

int bundle_keyval_get_basic_val(bundle_keyval_t* kv, void** val, size_t* size) {
  if (!kv || !val || !size || bundle_keyval_type_is_array(kv)) {
    return BUNDLE_ERROR_INVALID_PARAMETER;
  }
  *val = kv->elements[0].data();
  *size = kv->sizes[0];
  return BUNDLE_ERROR_NONE;
}

int bundle_keyval_get_array_val(bundle_keyval_t* kv, void*** array_val, unsigned int* array_len,
                                size_t** array_element_size) {
  if (!kv || !array_val || !array_len || !array_element_size || !bundle_keyval_type_is_array(kv)) {
    return BUNDLE_ERROR_INVALID_PARAMETER;
  }
  *array_val = reinterpret_cast<void**>(const_cast<char**>(kv->pointers.data()));
  *array_len = static_cast<unsigned int>(kv->pointers.size());
  *array_element_size = kv->sizes.data();
  return BUNDLE_ERROR_NONE;
}

}  // extern "C"
