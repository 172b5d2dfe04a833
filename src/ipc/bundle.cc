// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "ipc/bundle.h"

#include <new>
#include <utility>

namespace rpc_port {
namespace stub {

namespace {

bundle* Require(bundle* handle) {
  if (handle == nullptr) throw std::bad_alloc();
  return handle;
}

}  // namespace

Bundle::Bundle() : handle_(Require(bundle_create())) {}

Bundle::Bundle(const Bundle& other)
    : handle_(other.handle_ != nullptr ? Require(bundle_dup(other.handle_)) : nullptr) {}

Bundle& Bundle::operator=(Bundle other) noexcept {
  std::swap(handle_, other.handle_);
  return *this;
}

Bundle::~Bundle() {
  if (handle_ != nullptr) bundle_free(handle_);
}

}  // namespace stub
}  // namespace rpc_port
