// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/bundle/values.h"

#include <cstring>
#include <numeric>

keyval_t::keyval_t(const keyval_t& other) : type_(other.type_) {
  Assign(other.elements(), other.sizes(), other.count());
}

void keyval_t::Assign(const void* const* elements, const size_t* sizes, size_t count) {
  // One byte more, so that the pointer to an element of size 0 is valid.
  bytes_.resize(std::accumulate(sizes, sizes + count, size_t{1}));
  elements_.assign(count, nullptr);
  sizes_.assign(count, 0);
  uint8_t* next = bytes_.data();
  for (size_t i = 0; i < count; ++i) {
    if (elements[i] == nullptr) continue;
    std::memcpy(next, elements[i], sizes[i]);
    elements_[i] = next;
    sizes_[i] = sizes[i];
    next += sizes[i];
  }
}
