// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_IPC_BUNDLE_H_
#define QOR_SRC_IPC_BUNDLE_H_

#include <bundle.h>

namespace rpc_port {
namespace stub {

// Owns a platform bundle; copies duplicate it.
class Bundle {
 public:
  // Creates an empty bundle. Throws std::bad_alloc if the platform fails, as copying does.
  Bundle();
  // Takes ownership.
  explicit Bundle(bundle* handle) : handle_(handle) {}
  Bundle(const Bundle& other);
  Bundle(Bundle&& other) noexcept : handle_(other.handle_) { other.handle_ = nullptr; }
  Bundle& operator=(Bundle other) noexcept;
  ~Bundle();

  bundle* GetHandle() const { return handle_; }

 private:
  bundle* handle_;
};

}  // namespace stub
}  // namespace rpc_port

#endif
