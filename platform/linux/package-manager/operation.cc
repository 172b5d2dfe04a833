// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/operation.h"

#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "platform/linux/app-control/launch-protocol.h"
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

// Free of links, because executables are told by their real paths.
std::string PackagesFolder() {
  return std::filesystem::canonical(FolderBelowRoot(kPackagesFolder));
}

// Only one operation runs at a time, so the clock gives every one a number of its own.
std::string NewGeneration() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return std::to_string(int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec);
}

void RemoveUninstalledFiles(const std::string& package_id) {
  const std::string folder = PackagesFolder() + "/" + package_id;
  const auto installed = FindPackage(package_id);
  for (const std::string& generation : NamesIn(folder)) {
    const std::string path = folder + "/" + generation;
    if (installed && installed->root_path == path) continue;
    TerminateProcessesIn(path);
    RemoveTree(path);
  }
  if (!installed) RemoveTree(folder);
}

void RemoveUninstalledData(const std::string& entry) {
  for (const std::string& app_id : NamesIn(entry + kApplications)) {
    if (!IsApplicationId(app_id) || FindApplication(app_id)) continue;
    RemoveTree(RootPath() + "/" + kDataFolder + "/" + app_id);
    // Its processes have ended, and a launcher makes itself a new one.
    RemoveTree(RootPath() + "/" + kApplicationSocketFolder + "/" + app_id);
  }
}

// The end of every operation, and of every interrupted one: what the database does not know goes.
void FinishOperation(const std::string& entry) {
  const size_t mark = entry.rfind('@');
  const std::string package_id = mark == std::string::npos ? "" : entry.substr(mark + 1);
  // What is no id would lead elsewhere.
  if (IsPackageId(package_id)) {
    RemoveUninstalledFiles(package_id);
    RemoveUninstalledData(entry);
  }
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
  for (const std::string& name : NamesIn(staging)) {
    try {
      FinishOperation(staging + "/" + name);
    } catch (...) {
      // Stays for the next operation, and is no reason to do without this one.
      LogCaught();
    }
  }
}

Operation::Operation() : generation_(NewGeneration()), entry_(StagingFolder() + "/" + generation_) {
  MakeFolder(entry_);
  MakeFolder(ContentFolder());
}

Operation::~Operation() {
  try {
    FinishOperation(entry_);
  } catch (...) {
    // What could not be removed stays listed in the staging folder for the next operation.
    LogCaught();
  }
}

void Operation::Claim(const std::string& package_id, const PackageRecord* installed) {
  if (installed != nullptr) {
    MakeFolder(entry_ + kApplications);
    for (const ApplicationRecord& application : installed->applications)
      if (IsApplicationId(application.id))
        MakeFolder(entry_ + kApplications + "/" + application.id);
    SyncFolder(entry_ + kApplications);
  }
  SyncFolder(entry_);
  const std::string claimed = entry_ + "@" + package_id;
  Rename(entry_, claimed);
  entry_ = claimed;
  SyncFolder(StagingFolder());
  package_folder_ = PackagesFolder() + "/" + package_id;
}

std::string Operation::PlaceContent() {
  MakeFolder(package_folder_);
  const std::string place = package_folder_ + "/" + generation_;
  Rename(ContentFolder(), place);
  SyncFolder(package_folder_);
  SyncFolder(PackagesFolder());
  return place;
}

}  // namespace platform
