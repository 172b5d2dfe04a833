// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_RESIZABLE_TMPFS_H_
#define TESTS_CHAOS_RESIZABLE_TMPFS_H_

#include <string>

namespace chaos {

// A file system of its own at a folder, seen by this process and those that it starts, which can be
// made full. Ends with this object.
class ResizableTmpfs {
 public:
  // Where the system does not allow it, as root or in a user's own name space, the folder stays
  // what it was. To be made before anything is in it, and before there are threads.
  explicit ResizableTmpfs(std::string folder);
  ResizableTmpfs(const ResizableTmpfs&) = delete;
  ResizableTmpfs& operator=(const ResizableTmpfs&) = delete;
  ~ResizableTmpfs();

  bool IsMounted() const { return is_mounted_; }
  // Leaves room for nothing, and for all again. Only when it is mounted; false when it fails.
  bool Fill();
  bool Free();

 private:
  const std::string folder_;
  bool is_mounted_ = false;
};

}  // namespace chaos

#endif
