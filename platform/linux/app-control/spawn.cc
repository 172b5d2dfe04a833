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

// The first descriptor after the standard ones.
constexpr int kInheritedSocket = 3;

constexpr size_t kStackSize = 64 * 1024;

// Arguments of the new process. Until it executes the application it shares this process's memory
// (CLONE_VM), so it may only make system calls, and must not allocate.
struct SpawnArguments {
  const char* executable;
  char* const* arguments;
  char* const* environment;
  const char* folder;
  int socket;
  int output;     // -1: none
  int error = 0;  // the errno value of what failed
};

bool CloseFrom(int first, int kept) {
  if (kept < first) return close_range(static_cast<unsigned>(first), ~0U, 0) == 0;
  if (kept > first &&
      close_range(static_cast<unsigned>(first), static_cast<unsigned>(kept) - 1, 0) != 0)
    return false;
  return close_range(static_cast<unsigned>(kept) + 1, ~0U, 0) == 0;
}

bool TakeDescriptors(int socket, int output) {
  constexpr int kFirstOther = kInheritedSocket + 1;
  // Out of the way of the fixed numbers.
  if (output >= 0 && output < kFirstOther) output = fcntl(output, F_DUPFD_CLOEXEC, kFirstOther);
  // The socket comes first: its number may be that of a standard descriptor.
  if (socket != kInheritedSocket && dup2(socket, kInheritedSocket) < 0) return false;
  if (fcntl(kInheritedSocket, F_SETFD, 0) != 0) return false;
  // Before another is opened: the launcher may be out of descriptors.
  if (!CloseFrom(kFirstOther, output)) return false;
  // If the application inherited the launcher's output, a reader of the output, such as a pipe,
  // would not see end of file before the application exits.
  const int null = open("/dev/null", O_RDWR);
  if (null < 0 || dup2(null, STDIN_FILENO) < 0) return false;
  for (const int standard : {STDOUT_FILENO, STDERR_FILENO})
    if (dup2(output < 0 ? null : output, standard) < 0) return false;
  const pid_t pid = getpid();
  if (output >= 0 && write(output, &pid, sizeof pid) < 0) return false;
  return CloseFrom(kFirstOther, -1);
}

void ResetSignals() {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  // Fails for SIGKILL and SIGSTOP, which always have the default disposition.
  for (int signal = 1; signal < NSIG; ++signal) sigaction(signal, &action, nullptr);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

int RunChild(void* data) {
  auto* spawn = static_cast<SpawnArguments*>(data);
  ResetSignals();
  // listen() makes this process the one that SO_PEERCRED reports to peers.
  if (setsid() >= 0 && TakeDescriptors(spawn->socket, spawn->output) &&
      listen(kInheritedSocket, SOMAXCONN) == 0 && chdir(spawn->folder) == 0)
    execve(spawn->executable, spawn->arguments, spawn->environment);
  spawn->error = errno;
  _exit(127);
}

// Returns this process's environment with the variables of the launch, without the variable that
// names this process.
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
                     const UniqueFd& output, SpawnedProcess* process) {
  std::vector<std::string> variables = EnvironmentOfApplication();
  std::vector<char*> environment;
  for (std::string& variable : variables) environment.push_back(variable.data());
  environment.push_back(nullptr);
  std::string name = application.executable;
  char* arguments[] = {name.data(), nullptr};
  SpawnArguments spawn{name.c_str(),           arguments,
                       environment.data(),     application.package_root.c_str(),
                       listening_socket.Get(), output.Get()};
  const auto stack = std::make_unique<char[]>(kStackSize);
  // Signal handlers of this process must not run in the new one, which shares its memory.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const auto start = [&](int flags, int* descriptor) {
    return clone(RunChild, stack.get() + kStackSize, CLONE_VM | CLONE_VFORK | SIGCHLD | flags,
                 &spawn, descriptor);
  };
  int descriptor = -1;
  pid_t child = start(CLONE_PIDFD, &descriptor);
  if (child < 0 && (errno == EMFILE || errno == ENFILE)) child = start(0, nullptr);
  if (child < 0) spawn.error = errno;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (child >= 0 && spawn.error != 0) waitpid(child, nullptr, 0);
  process->pid = child;
  process->descriptor.Reset(descriptor);
  return spawn.error;
}

}  // namespace platform
