// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_BUNDLE_VALUES_H_
#define PLATFORM_LINUX_BUNDLE_VALUES_H_

#include <bundle.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

// A value: the consecutive bytes of its elements, and for C callers a pointer to each. A basic
// value is an array of one element. Strings are stored with their terminating NUL. An empty slot of
// an array is a null pointer of size 0.
struct keyval_t {
 public:
  explicit keyval_t(int type) : type_(type) {}
  keyval_t(const keyval_t& other);
  keyval_t(keyval_t&& other) noexcept = default;
  keyval_t& operator=(const keyval_t&) = delete;

  // Copies the elements. To be called once, because growing the bytes would move the elements.
  void Assign(const void* const* elements, const size_t* sizes, size_t count);

  int type() const { return type_; }
  bool IsArray() const { return (type_ & BUNDLE_TYPE_ARRAY) != 0; }
  size_t count() const { return elements_.size(); }
  // Both have count() entries.
  void** elements() { return elements_.data(); }
  size_t* sizes() { return sizes_.data(); }
  void* const* elements() const { return elements_.data(); }
  const size_t* sizes() const { return sizes_.data(); }

 private:
  int type_;
  std::vector<uint8_t> bytes_;
  std::vector<void*> elements_;
  std::vector<size_t> sizes_;
};

// An empty bundle costs a single allocation: nearly every message has one.
struct _bundle_t {
  std::map<std::string, keyval_t, std::less<>> values;
};

#endif
