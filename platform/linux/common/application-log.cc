// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/application-log.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <exception>
#include <filesystem>
#include <set>
#include <string_view>

#include "platform/linux/common/ids.h"
#include "platform/linux/common/package-database.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {
namespace {

constexpr char kLogSuffix[] = ".log";
constexpr char kEndSuffix[] = ".end";

std::string PathOf(const std::string& app_id, const char* suffix) {
  return RootPath() + "/" + kLogFolder + "/" + app_id + suffix;
}

bool RemoveSuffix(std::string_view suffix, std::string* name) {
  if (name->size() <= suffix.size() ||
      name->compare(name->size() - suffix.size(), suffix.size(), suffix) != 0)
    return false;
  name->resize(name->size() - suffix.size());
  return true;
}

// Removes the number of a rotated log, or of the process that writes a new file.
void RemoveNumber(std::string* name) {
  const size_t dot = name->find_last_not_of("0123456789");
  if (dot != std::string::npos && dot + 1 < name->size() && (*name)[dot] == '.') name->resize(dot);
}

// Returns the application that a file in the folder belongs to; empty for other files.
std::string ApplicationOf(std::string name) {
  RemoveNumber(&name);
  const bool is_known = RemoveSuffix(kLogSuffix, &name) || RemoveSuffix(kEndSuffix, &name);
  return is_known && IsApplicationId(name) ? name : std::string();
}

// Returns the files in the folder that belong to an application.
std::vector<std::filesystem::path> LogFiles() {
  const std::filesystem::path folder = RootPath() + "/" + kLogFolder;
  std::vector<std::filesystem::path> files;
  if (!std::filesystem::exists(folder)) return files;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    if (!ApplicationOf(entry.path().filename()).empty()) files.push_back(entry.path());
  return files;
}

}  // namespace

std::string LogOf(const std::string& app_id) { return PathOf(app_id, kLogSuffix); }

std::string EndFileOf(const std::string& app_id) { return PathOf(app_id, kEndSuffix); }

bool CreateLog(const std::string& app_id) {
  try {
    FolderBelowRoot(kLogFolder);
  } catch (const std::exception&) {
    return false;
  }
  const int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  const UniqueFd file(open(LogOf(app_id).c_str(), flags, S_IRUSR | S_IWUSR));
  return static_cast<bool>(file);
}

std::vector<std::string> ApplicationsWithLogs() {
  std::set<std::string> app_ids;
  for (const auto& path : LogFiles()) app_ids.insert(ApplicationOf(path.filename()));
  return {app_ids.begin(), app_ids.end()};
}

void RemoveLogsOfUninstalledApplications() {
  for (const auto& path : LogFiles())
    if (!FindApplication(ApplicationOf(path.filename()))) std::filesystem::remove(path);
}

}  // namespace platform
