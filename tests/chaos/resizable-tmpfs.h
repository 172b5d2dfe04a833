// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_RESIZABLE_TMPFS_H_
#define TESTS_CHAOS_RESIZABLE_TMPFS_H_

#include <string>

namespace chaos {

// A tmpfs mounted on a folder, visible to this process and its children, whose size can be reduced
// to make writes fail with ENOSPC. Unmounted by the destructor.
class ResizableTmpfs {
 public:
  // Mounts as root or in a user namespace. Where neither is allowed, the folder remains as it is
  // and IsMounted() returns false. The folder must be empty and the process single-threaded.
  explicit ResizableTmpfs(std::string folder);
  ResizableTmpfs(const ResizableTmpfs&) = delete;
  ResizableTmpfs& operator=(const ResizableTmpfs&) = delete;
  ~ResizableTmpfs();

  bool IsMounted() const { return is_mounted_; }
  // Reduces the size to what is in use, and restores it. Require IsMounted(); return false on
  // error.
  bool Fill();
  bool Free();

 private:
  const std::string folder_;
  bool is_mounted_ = false;
};

}  // namespace chaos

#endif
