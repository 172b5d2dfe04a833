// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/staging.h"

#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "platform/linux/app-control/launch-protocol.h"
#include "platform/linux/common/application-log.h"
#include "platform/linux/common/file-lock.h"
#include "platform/linux/common/ids.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/package-manager/errors.h"
#include "platform/linux/package-manager/file-system.h"
#include "platform/linux/package-manager/process-termination.h"

namespace platform {
namespace {

constexpr char kApplications[] = "/applications";

std::string StagingFolder() { return FolderBelowRoot(kStagingFolder); }

// Without links, because processes are identified by the real paths of their executables.
std::string PackagesFolder() {
  return std::filesystem::canonical(FolderBelowRoot(kPackagesFolder));
}

// Unique, because only one operation runs at a time.
std::string NewGeneration() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return std::to_string(int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec);
}

void RemoveUninstalledFiles(const std::string& package_id) {
  const std::string folder = PackagesFolder() + "/" + package_id;
  const auto installed = FindPackage(package_id);
  for (const std::string& generation : ListFolder(folder)) {
    const std::string path = folder + "/" + generation;
    if (installed && installed->root_path == path) continue;
    TerminateProcessesIn(path);
    RemoveTree(path);
  }
  if (!installed) RemoveTree(folder);
}

void RemoveUninstalledData(const std::string& entry) {
  for (const std::string& app_id : ListFolder(entry + kApplications)) {
    if (!IsApplicationId(app_id) || FindApplication(app_id)) continue;
    RemoveTree(RootPath() + "/" + kDataFolder + "/" + app_id);
    // The application's processes have exited, and a launcher creates a new socket.
    RemoveTree(RootPath() + "/" + kApplicationSocketFolder + "/" + app_id);
  }
}

// Ends an operation, complete or interrupted: removes files that are not of an installed package.
void FinishOperation(const std::string& entry) {
  const size_t mark = entry.rfind('@');
  const std::string package_id = mark == std::string::npos ? "" : entry.substr(mark + 1);
  // Any other name, such as "..", would remove files elsewhere.
  if (IsPackageId(package_id)) {
    RemoveUninstalledFiles(package_id);
    RemoveUninstalledData(entry);
  }
  RemoveLogsOfUninstalledApplications();
  RemoveTree(entry);
}

}  // namespace

InstallLock::InstallLock(std::chrono::milliseconds timeout) {
  const std::string path = RootFolder() + "/" + kInstallLock;
  file_ = AwaitLock(path, timeout);
  if (!file_ && errno == EWOULDBLOCK) {
    throw std::system_error(ETIMEDOUT, std::generic_category(),
                            path + " is locked by " + DescribeLockHolder(path));
  }
  if (!file_) throw FileError(path);
  const std::string staging = StagingFolder();
  for (const std::string& name : ListFolder(staging)) {
    try {
      FinishOperation(staging + "/" + name);
    } catch (...) {
      // The next operation tries again. Files that cannot be removed must not prevent this one.
      LogCurrentException();
    }
  }
}

StagingEntry::StagingEntry()
    : generation_(NewGeneration()), entry_(StagingFolder() + "/" + generation_) {
  MakeFolder(entry_);
  MakeFolder(ContentFolder());
}

StagingEntry::~StagingEntry() {
  try {
    FinishOperation(entry_);
  } catch (...) {
    // The entry stays in the staging folder, so that the next operation tries again.
    LogCurrentException();
  }
}

void StagingEntry::SetPackage(const std::string& package_id, const PackageRecord* installed) {
  if (installed != nullptr) {
    MakeFolder(entry_ + kApplications);
    for (const ApplicationRecord& application : installed->applications)
      if (IsApplicationId(application.id))
        MakeFolder(entry_ + kApplications + "/" + application.id);
    SyncFolder(entry_ + kApplications);
  }
  SyncFolder(entry_);
  const std::string renamed = entry_ + "@" + package_id;
  Rename(entry_, renamed);
  entry_ = renamed;
  SyncFolder(StagingFolder());
  package_folder_ = PackagesFolder() + "/" + package_id;
}

std::string StagingEntry::MoveContentToPackages() {
  MakeFolder(package_folder_);
  std::string path = package_folder_ + "/" + generation_;
  Rename(ContentFolder(), path);
  SyncFolder(package_folder_);
  SyncFolder(PackagesFolder());
  return path;
}

}  // namespace platform
