// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_CHECK_TEMPORARY_ROOT_H_
#define QOR_TOOLS_CHECK_TEMPORARY_ROOT_H_

#include <string>

namespace tools::check {

// A platform root of its own for this process and those that it starts. At the end everything in it
// is uninstalled, which ends its processes, and removed. To be made before anything uses the
// platform, and one at a time. Throws std::system_error.
class TemporaryRoot {
 public:
  TemporaryRoot();
  TemporaryRoot(const TemporaryRoot&) = delete;
  TemporaryRoot& operator=(const TemporaryRoot&) = delete;
  ~TemporaryRoot();

 private:
  std::string folder_;
};

// Installs a package folder or a .tpk file below the root. Throws std::runtime_error.
void Install(const std::string& path);

}  // namespace tools::check

#endif
