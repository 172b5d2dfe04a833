// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_CHECK_TEMPORARY_ROOT_H_
#define QOR_TOOLS_CHECK_TEMPORARY_ROOT_H_

#include <string>

namespace tools::check {

// A platform root folder for this process and its children. The destructor uninstalls all packages,
// which ends their processes, and removes the folder. Must be created before the platform is used;
// only one object may exist at a time. The constructor throws std::system_error.
class TemporaryRoot {
 public:
  TemporaryRoot();
  TemporaryRoot(const TemporaryRoot&) = delete;
  TemporaryRoot& operator=(const TemporaryRoot&) = delete;
  ~TemporaryRoot();

 private:
  std::string folder_;
};

// Installs a package folder or .tpk file. Throws std::runtime_error.
void Install(const std::string& path);

}  // namespace tools::check

#endif
