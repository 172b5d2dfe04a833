// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/app-control/loader-error.h"

#include <fstream>

#include "platform/linux/common/application-log.h"

namespace platform {
namespace {

// The loader's line is the last of its process. Other processes of the application may write after
// it.
constexpr std::streamoff kTail = 64 * 1024;

// Texts of the dynamic loader, which are not translated.
constexpr char kErrorMark[] = ": error while loading shared libraries: ";
constexpr char kMissingMark[] = ": cannot open shared object file: No such file or directory";

}  // namespace

std::string FindLoaderError(const std::string& app_id, pid_t pid) {
  std::ifstream log(LogOf(app_id), std::ios::ate);
  const std::streamoff size = log.tellg();
  log.seekg(size > kTail ? size - kTail : 0);
  const std::string process = " " + std::to_string(pid) + " ";
  std::string cause;
  for (std::string line; std::getline(log, line);) {
    const size_t mark = line.find(kErrorMark);
    // The process id is the second word.
    if (mark != std::string::npos && line.find(process) == line.find(' '))
      cause = line.substr(mark + sizeof kErrorMark - 1);
  }
  const size_t missing = cause.find(kMissingMark);
  return missing == std::string::npos ? cause : cause.substr(0, missing) + " not found";
}

}  // namespace platform
