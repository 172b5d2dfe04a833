// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "resizable-tmpfs.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <fstream>
#include <utility>

namespace chaos {

namespace {

constexpr char kMountOptions[] = "size=2g,mode=0700";

// Enters a mount namespace in which this process may mount. Keeps the user and group ids.
bool EnterMountNamespace() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (unshare(CLONE_NEWNS) == 0) return true;
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/uid_map") << user << ' ' << user << " 1";
  std::ofstream("/proc/self/gid_map") << group << ' ' << group << " 1";
  return true;
}

}  // namespace

ResizableTmpfs::ResizableTmpfs(std::string folder) : folder_(std::move(folder)) {
  is_mounted_ = EnterMountNamespace() &&
                mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                mount("tmpfs", folder_.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, kMountOptions) == 0;
}

ResizableTmpfs::~ResizableTmpfs() {
  // Lazy: exiting processes may still use files in it.
  if (is_mounted_) umount2(folder_.c_str(), MNT_DETACH);
}

bool ResizableTmpfs::Fill() {
  struct statvfs sizes {};
  if (statvfs(folder_.c_str(), &sizes) != 0) return false;
  const auto used = (sizes.f_blocks - sizes.f_bfree) * sizes.f_frsize;
  const std::string room = "size=" + std::to_string(used);
  return mount(nullptr, folder_.c_str(), nullptr, MS_REMOUNT | MS_NOSUID | MS_NODEV,
               room.c_str()) == 0;
}

bool ResizableTmpfs::Free() {
  return mount(nullptr, folder_.c_str(), nullptr, MS_REMOUNT | MS_NOSUID | MS_NODEV,
               kMountOptions) == 0;
}

}  // namespace chaos
