// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "bundle-codec.h"

#include <utility>

keyval_t::keyval_t(int value_type, std::vector<std::string> value_elements)
    : type(value_type), elements(std::move(value_elements)) {
  const bool is_text = (type & BUNDLE_TYPE_MEASURABLE) != 0;
  for (const std::string& element : elements) {
    pointers.push_back(element.c_str());
    sizes.push_back(element.size() + (is_text ? 1 : 0));
  }
}

namespace fake::internal {

Bytes ToRaw(const BundleContent& content) {
  Bytes raw;
  for (const auto& [key, value] : content) {
    AppendBlock(&raw, key.data(), key.size());
    AppendBytes(&raw, &value->type, sizeof(value->type));
    const size_t count = value->elements.size();
    AppendBytes(&raw, &count, sizeof(count));
    for (const std::string& element : value->elements) {
      AppendBlock(&raw, element.data(), element.size());
    }
  }
  return raw;
}

bool FromRaw(const Bytes& raw, BundleContent* content) {
  size_t position = 0;
  BundleContent read;
  while (position < raw.size()) {
    Bytes key;
    int type = BUNDLE_TYPE_NONE;
    size_t count = 0;
    if (!TakeBlock(raw, &position, &key) || !TakeBytes(raw, &position, &type, sizeof(type)) ||
        !TakeBytes(raw, &position, &count, sizeof(count))) {
      return false;
    }
    std::vector<std::string> elements;
    for (size_t i = 0; i < count; ++i) {
      Bytes element;
      if (!TakeBlock(raw, &position, &element)) return false;
      elements.emplace_back(element.begin(), element.end());
    }
    read.emplace(std::string(key.begin(), key.end()),
                 std::make_shared<keyval_t>(type, std::move(elements)));
  }
  *content = std::move(read);
  return true;
}

}  // namespace fake::internal
