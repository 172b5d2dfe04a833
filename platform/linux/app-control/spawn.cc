// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/app-control/spawn.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/linux/app-control/launch-protocol.h"
#include "platform/linux/common/process-identity.h"
#include "platform/linux/common/root-folder.h"

namespace platform {
namespace {

constexpr int kInheritedSocket = 3;

class Attributes {
 public:
  Attributes() {
    posix_spawnattr_init(&value_);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&value_, &signals);
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&value_, &signals);
    posix_spawnattr_setflags(&value_,
                             POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
  }
  ~Attributes() { posix_spawnattr_destroy(&value_); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  const posix_spawnattr_t* Get() const { return &value_; }

 private:
  posix_spawnattr_t value_;
};

class FileActions {
 public:
  FileActions(int socket_fd, const std::string& folder) {
    posix_spawn_file_actions_init(&value_);
    posix_spawn_file_actions_adddup2(&value_, socket_fd, kInheritedSocket);
    posix_spawn_file_actions_addclosefrom_np(&value_, kInheritedSocket + 1);
    // Whoever waits for the end of the launcher's output must not wait for the application.
    posix_spawn_file_actions_addopen(&value_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&value_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addchdir_np(&value_, folder.c_str());
  }
  ~FileActions() { posix_spawn_file_actions_destroy(&value_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;
  const posix_spawn_file_actions_t* Get() const { return &value_; }

 private:
  posix_spawn_file_actions_t value_;
};

// This process's environment, with the variables of the launch and without a name that is this
// process's own.
std::vector<std::string> EnvironmentOfApplication() {
  const std::string socket_variable = std::string(kLaunchSocketVariable) + "=";
  const std::string root_variable = "QOR_PLATFORM_ROOT=";
  const std::string name_variable = std::string(kHostNameVariable) + "=";
  std::vector<std::string> variables = {socket_variable + std::to_string(kInheritedSocket),
                                        root_variable + RootFolder()};
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    const std::string text = *variable;
    if (text.rfind(socket_variable, 0) != 0 && text.rfind(root_variable, 0) != 0 &&
        text.rfind(name_variable, 0) != 0)
      variables.push_back(text);
  }
  return variables;
}

}  // namespace

int SpawnApplication(const ApplicationRecord& application, const UniqueFd& listening_socket,
                     pid_t* pid) {
  std::vector<std::string> variables = EnvironmentOfApplication();
  std::vector<char*> environment;
  for (std::string& variable : variables) environment.push_back(variable.data());
  environment.push_back(nullptr);
  std::string name = application.executable;
  char* arguments[] = {name.data(), nullptr};
  const Attributes attributes;
  const FileActions actions(listening_socket.Get(), application.package_root);
  return posix_spawn(pid, application.executable.c_str(), actions.Get(), attributes.Get(),
                     arguments, environment.data());
}

}  // namespace platform
