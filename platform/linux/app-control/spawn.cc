// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/app-control/spawn.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/app-control/launch-protocol.h"
#include "platform/linux/common/process-identity.h"
#include "platform/linux/common/root-folder.h"

namespace platform {
namespace {

constexpr int kInheritedSocket = 3;

constexpr size_t kStackSize = 64 * 1024;

// What the new process needs until it executes the application. It runs in this process's memory,
// while the calling thread waits, so that only system calls are allowed there.
struct Start {
  const char* executable;
  char* const* arguments;
  char* const* environment;
  const char* folder;
  int socket;
  int reason = 0;  // the errno value of what failed
};

bool TakeDescriptors(int socket) {
  // The socket first: it may have the number of a standard descriptor.
  if (socket != kInheritedSocket && dup2(socket, kInheritedSocket) < 0) return false;
  if (fcntl(kInheritedSocket, F_SETFD, 0) != 0) return false;
  // A reader of the launcher's output must not have to wait for the end of the application.
  const int null = open("/dev/null", O_RDWR);
  if (null < 0) return false;
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (dup2(null, standard) < 0) return false;
  return close_range(kInheritedSocket + 1, ~0U, 0) == 0;
}

void ResetSignals() {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  // Some cannot be set, and need not be.
  for (int signal = 1; signal < NSIG; ++signal) sigaction(signal, &action, nullptr);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

int Execute(void* data) {
  auto* start = static_cast<Start*>(data);
  ResetSignals();
  // From now on the kernel names the application's process to those who connect.
  if (setsid() >= 0 && TakeDescriptors(start->socket) && listen(kInheritedSocket, SOMAXCONN) == 0 &&
      chdir(start->folder) == 0)
    execve(start->executable, start->arguments, start->environment);
  start->reason = errno;
  _exit(127);
}

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
  Start start{name.c_str(), arguments, environment.data(), application.package_root.c_str(),
              listening_socket.Get()};
  const auto stack = std::make_unique<char[]>(kStackSize);
  // No handler of this process may run in the new one.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const pid_t child =
      clone(Execute, stack.get() + kStackSize, CLONE_VM | CLONE_VFORK | SIGCHLD, &start);
  if (child < 0) start.reason = errno;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (child >= 0 && start.reason != 0) waitpid(child, nullptr, 0);
  *pid = child;
  return start.reason;
}

}  // namespace platform
