// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/app-control/log-pipe.h"

#include <dlfcn.h>
#include <dlog.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <system_error>

#include "platform/linux/app-control/launcher.h"
#include "platform/linux/common/application-log.h"

namespace platform {
namespace {

// Its address is in this library.
const char kHere = 0;

// Returns the program beside this library, in build folders and installations; empty when there is
// none.
std::string FindLogWriter() {
  Dl_info info{};
  if (dladdr(&kHere, &info) == 0) return {};
  std::error_code error;
  const auto library = std::filesystem::canonical(info.dli_fname, error);
  const std::string path = library.parent_path() / "qor-log-writer";
  if (!error && access(path.c_str(), X_OK) == 0) return path;
  dlog_print(DLOG_WARN, kLaunchLogTag, "no %s, output of applications is discarded", path.c_str());
  return {};
}

// Returns an errno value or 0.
int Spawn(const std::string& program, const std::string& log, const UniqueFd& output, pid_t* pid) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output.Get(), STDIN_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
  posix_spawn_file_actions_addchdir_np(&actions, "/");
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK);
  // Without the launcher's environment, which may name libraries to load.
  std::string name = program;
  std::string file = log;
  char* arguments[] = {name.data(), file.data(), nullptr};
  char* environment[] = {nullptr};
  const int result =
      posix_spawn(pid, program.c_str(), &actions, &attributes, arguments, environment);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return result;
}

}  // namespace

LogPipe OpenLogPipe(const std::string& app_id) {
  static const std::string program = FindLogWriter();
  int ends[2] = {-1, -1};
  if (program.empty() || !CreateLog(app_id) || pipe2(ends, O_CLOEXEC) != 0) return {};
  const UniqueFd output(ends[0]);
  LogPipe log{UniqueFd(ends[1]), -1};
  const int reason = Spawn(program, LogOf(app_id), output, &log.writer);
  if (reason == 0) return log;
  dlog_print(DLOG_WARN, kLaunchLogTag, "cannot start %s: %s, discarding the output of %s",
             program.c_str(), std::strerror(reason), app_id.c_str());
  return {};
}

}  // namespace platform
