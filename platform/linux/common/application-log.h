// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_APPLICATION_LOG_H_
#define PLATFORM_LINUX_COMMON_APPLICATION_LOG_H_

#include <cstddef>
#include <string>
#include <vector>

namespace platform {

// What is kept of the processes of each launched application, in kLogFolder:
//
//   <app id>.log    standard output and error, see log-writer.cc for the format of lines
//   <app id>.log.1  the lines before
//   <app id>.end    how the last process ended, see process-end.h; written under a name with a
//                   number at the end, then renamed
//
// A launch creates the log; what writes to these files later does nothing once the log is removed,
// so that the output of a process that outlives its package brings no file back.

// Size of a log at which it replaces the older one, in bytes. Both together take twice as much.
inline constexpr size_t kMaxLogSize = 1 << 20;

// The suffix of the older log's name.
inline constexpr char kRotatedSuffix[] = ".1";

// These create nothing.
std::string LogOf(const std::string& app_id);
std::string EndFileOf(const std::string& app_id);

// Returns the ids of the applications that have files in the folder, sorted.
std::vector<std::string> ApplicationsWithLogs();

// Creates the log unless it exists. Returns false when that is impossible, as on a full disk.
bool CreateLog(const std::string& app_id);

// Removes the files of applications that are not installed. Throws std::system_error and
// DatabaseError.
void RemoveLogsOfUninstalledApplications();

}  // namespace platform

#endif
