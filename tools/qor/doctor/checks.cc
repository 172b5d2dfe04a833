// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/doctor/checks.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "inspect/package.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/common/process-identity.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/package-manager/file-system.h"
#include "qor/doctor/file-users.h"
#include "qor/logs/last-end.h"

namespace tools::cli {

namespace {

namespace fs = std::filesystem;

constexpr Check::Level kPass = Check::Level::kPass;
constexpr Check::Level kWarn = Check::Level::kWarn;
constexpr Check::Level kFail = Check::Level::kFail;

std::string PathOf(const std::string& relative) { return platform::RootPath() + "/" + relative; }

// An install in progress owns files that look like leftovers.
bool IsInstalling(Checks& checks) {
  const auto user = UserOfFile(PathOf(platform::kInstallLock));
  if (!user) return false;
  checks.push_back({kPass, "process " + std::to_string(*user) +
                               " is installing or uninstalling: leftovers are not checked"});
  return true;
}

void CheckLeftovers(const std::vector<inspect::Package>& packages, Checks& checks) {
  if (IsInstalling(checks)) return;
  const std::string staging = PathOf(platform::kStagingFolder);
  for (const auto& name : platform::ListFolder(staging)) {
    checks.push_back({kWarn, staging + "/" + name + " is a leftover of an interrupted operation",
                      "the next \"qor package install\" or \"uninstall\" removes it"});
  }
  std::set<std::string> installed;
  for (const auto& package : packages)
    installed.insert(fs::weakly_canonical(package.record.root_path));
  const std::string all = PathOf(platform::kPackagesFolder);
  for (const auto& id : platform::ListFolder(all)) {
    for (const auto& generation : platform::ListFolder(all + "/" + id)) {
      const std::string folder = all + "/" + id + "/" + generation;
      if (installed.count(fs::weakly_canonical(folder)) != 0) continue;
      checks.push_back(
          {kWarn, folder + " belongs to no installed package", "remove it: rm -r " + folder});
    }
  }
}

// A handler that is running now has been launched since.
void CheckLastEnd(const inspect::Application& application, Checks& checks) {
  const auto end = FindLastFailure(application.record.id);
  const auto is_running = [&](const platform::Executable& executable) {
    return executable.path == application.record.executable;
  };
  if (!end || !platform::FindProcesses(is_running).empty()) return;
  checks.push_back({kWarn,
                    "handler " + application.record.id + ": last process: " + DescribeWithAge(*end),
                    "qor logs " + application.record.id});
}

// Commands create it, if they can.
Check CheckOfMissing(const std::string& root) {
  fs::path parent = fs::path(root).parent_path();
  while (!fs::exists(parent)) parent = parent.parent_path();
  if (!fs::is_directory(parent) || access(parent.c_str(), W_OK | X_OK) != 0)
    return {kFail, "root folder " + root + " cannot be created in " + parent.string(),
            "set QOR_PLATFORM_ROOT"};
  return {kPass, "root folder " + root + " does not exist (nothing installed yet)"};
}

Check CheckOfExisting(const std::string& root, const struct stat& status) {
  const auto allows = [&status](mode_t mode) { return (status.st_mode & mode) != 0; };
  if (status.st_uid != geteuid())
    return {kFail, "root folder " + root + " is owned by user " + std::to_string(status.st_uid),
            "change its owner (chown), or set QOR_PLATFORM_ROOT"};
  if ((status.st_mode & S_IRWXU) != S_IRWXU)
    return {kFail, "root folder " + root + " is not accessible to its owner", "chmod 700 " + root};
  if (allows(S_IWGRP | S_IWOTH))
    return {kFail, "root folder " + root + " is writable by other users",
            platform::ProtectionHint(root, "700")};
  if (allows(S_IRWXG | S_IRWXO))
    return {kWarn, "root folder " + root + " is accessible to other users",
            platform::ProtectionHint(root, "700")};
  return {kPass, "root folder " + root + " is private"};
}

}  // namespace

bool CheckRoot(Checks& checks) {
  const std::string root = platform::RootPath();
  if (const std::string parent = platform::ReplaceableIn(root); !parent.empty()) {
    checks.push_back(
        {kFail, "root folder " + root + " may be replaced by others, who may write to " + parent,
         platform::ProtectionHint(parent, "go-w")});
    return access(root.c_str(), R_OK | X_OK) == 0;
  }
  struct stat status {};
  if (stat(root.c_str(), &status) != 0) {
    checks.push_back(CheckOfMissing(root));
    return false;
  }
  if (!S_ISDIR(status.st_mode)) {
    checks.push_back({kFail, "root folder " + root + " is not a folder",
                      "move it away, or set QOR_PLATFORM_ROOT"});
    return false;
  }
  checks.push_back(CheckOfExisting(root, status));
  return access(root.c_str(), R_OK | X_OK) == 0;
}

void CheckAgents(Checks& checks) {
  const std::string ports = PathOf(platform::kPortsFolder);
  for (const auto& owner : platform::ListFolder(ports)) {
    const auto pid =
        UserOfFile(ports + "/" + owner + "/" + platform::PortLockName("CommandHandler"));
    if (!pid) continue;
    const platform::Executable executable = platform::ExecutableOf(*pid);
    const std::string description = "port CommandHandler of " + owner + " is owned by process " +
                                    std::to_string(*pid) + ", " + executable.path;
    if (executable.is_deleted) {
      checks.push_back({kWarn,
                        description + ": executable replaced, handlers cannot identify the process",
                        "restart that agent"});
    } else {
      checks.push_back({kPass, description});
    }
  }
}

void CheckPackages(Checks& checks) {
  std::vector<inspect::Package> packages;
  try {
    packages = inspect::InspectInstalledPackages();
  } catch (const platform::DatabaseError& error) {
    checks.push_back({kFail, error.what(), "move the file away and install the packages again"});
    return;
  }
  bool all_exist = true;
  for (const auto& package : packages) {
    const auto& record = package.record;
    if (fs::is_directory(record.root_path)) continue;
    all_exist = false;
    checks.push_back({kFail, "package " + record.id + ": missing folder " + record.root_path,
                      "qor package uninstall " + record.id + ", then install it again"});
  }
  if (all_exist) {
    checks.push_back(
        {kPass, std::to_string(packages.size()) + " installed packages, all folders exist"});
  }
  CheckLeftovers(packages, checks);
}

void CheckHandlers(Checks& checks) {
  std::vector<inspect::Package> packages;
  try {
    packages = inspect::InspectInstalledPackages();
  } catch (const platform::DatabaseError&) {
    // Reported by CheckPackages().
    return;
  }
  for (const auto& package : packages) {
    // Reported by CheckPackages().
    if (!fs::is_directory(package.record.root_path)) continue;
    for (const auto& application : package.applications) {
      const std::string name = "handler " + application.record.id + ": ";
      for (const auto* findings : {&application.errors, &application.runtime_errors}) {
        for (const auto& finding : *findings) {
          checks.push_back({kFail, name + inspect::ToText(finding), finding.hint});
        }
      }
      for (const auto& finding : application.warnings) {
        checks.push_back({kWarn, name + inspect::ToText(finding), finding.hint});
      }
      CheckLastEnd(application, checks);
      if (application.is_handler && application.Problems().empty()) {
        checks.push_back({kPass, name + "serves " +
                                     std::to_string(application.request_types.size()) +
                                     " request types with priority " +
                                     std::to_string(application.priority.Value())});
      }
    }
  }
}

}  // namespace tools::cli
