// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/commands/identity.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include "platform/linux/common/file-lock.h"
#include "platform/linux/common/process-identity.h"
#include "platform/linux/common/root-folder.h"
#include "qor/output/tool-error.h"
#include "text/printable.h"

namespace tools::cli {

namespace {

// Names the descriptor of the lock on the identity after exec().
constexpr char kLockVariable[] = "QOR_TOOL_IDENTITY_LOCK";

[[noreturn]] void Fail(const std::string& message) {
  throw ToolError(kError, message + ": " + std::generic_category().message(errno));
}

bool HasIdentity() {
  const char* lock = std::getenv(kLockVariable);
  if (lock == nullptr) return false;
  fcntl(static_cast<int>(std::strtol(lock, nullptr, 10)), F_SETFD, FD_CLOEXEC);
  // Child processes must not inherit the variables.
  unsetenv(kLockVariable);
  unsetenv(platform::kHostNameVariable);
  return true;
}

std::vector<std::string> OwnArguments() {
  std::vector<std::string> arguments;
  std::ifstream file("/proc/self/cmdline", std::ios::binary);
  for (std::string argument; std::getline(file, argument, '\0');) arguments.push_back(argument);
  return arguments;
}

[[noreturn]] void ExecuteAgain() {
  std::vector<std::string> arguments = OwnArguments();
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  execv("/proc/self/exe", pointers.data());
  Fail("cannot execute itself again");
}

}  // namespace

void MakeRootFolder() {
  const bool exists = std::filesystem::exists(platform::RootPath());
  const std::string root = platform::RootFolder();
  if (!exists) std::cerr << "qor: created the root folder " << text::Printable(root) << "\n";
}

void TakeIdentity() {
  if (HasIdentity()) return;
  MakeRootFolder();
  const std::string folder = platform::FolderBelowRoot(platform::kHostNameLockFolder);
  for (int number = 1;; ++number) {
    const std::string name = number == 1 ? "qor" : "qor-" + std::to_string(number);
    const std::string file = folder + "/" + name;
    const platform::UniqueFd lock = platform::LockFile(file);
    if (!lock) {
      if (errno == EWOULDBLOCK) continue;
      Fail("cannot lock " + file);
    }
    // The lock must survive exec().
    fcntl(lock.Get(), F_SETFD, 0);
    setenv(kLockVariable, std::to_string(lock.Get()).c_str(), 1);
    setenv(platform::kHostNameVariable, name.c_str(), 1);
    ExecuteAgain();
  }
}

}  // namespace tools::cli
