// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FAKE_PLATFORM_BUNDLE_CODEC_H_
#define TESTS_FAKE_PLATFORM_BUNDLE_CODEC_H_

#include <bundle.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "parcel-codec.h"

// A value of a bundle. Has one element unless the type is an array.
struct keyval_t {
  keyval_t(int value_type, std::vector<std::string> value_elements);
  keyval_t(const keyval_t&) = delete;
  keyval_t& operator=(const keyval_t&) = delete;

  const char* Text(size_t index) const { return elements[index].c_str(); }

  const int type;
  std::vector<std::string> elements;
  // For the C getters of arrays.
  std::vector<const char*> pointers;
  std::vector<size_t> sizes;
};

namespace fake::internal {

using BundleContent = std::map<std::string, std::shared_ptr<keyval_t>>;

Bytes ToRaw(const BundleContent& content);
bool FromRaw(const Bytes& raw, BundleContent* content);

}  // namespace fake::internal

#endif
