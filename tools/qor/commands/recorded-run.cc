// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/commands/recorded-run.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "qor/output/tool-error.h"

namespace tools::cli {

namespace {

namespace fs = std::filesystem;

// Shells report a process ended by a signal with this value plus the signal.
constexpr int kSignalStatus = 128;

// Returns the path of the recorder, in the build folder or an installation.
std::string RecorderLibrary() {
  const fs::path folder = fs::read_symlink("/proc/self/exe").parent_path();
  for (const char* relative :
       {"../recorder/libqor-recorder.so", "../" QOR_INSTALL_LIBDIR "/qor/libqor-recorder.so"}) {
    const fs::path library = (folder / relative).lexically_normal();
    if (fs::exists(library)) return library;
  }
  throw ToolError(
      kError, "cannot find libqor-recorder.so",
      "install it in " + (folder / "../" QOR_INSTALL_LIBDIR "/qor").lexically_normal().string());
}

std::vector<std::string> EnvironmentWith(const std::string& library, const std::string& file) {
  constexpr char kPreload[] = "LD_PRELOAD=";
  std::vector<std::string> variables;
  std::string preload = kPreload + library;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    if (text.rfind(kPreload, 0) == 0) {
      preload += ":" + text.substr(sizeof(kPreload) - 1);
    } else {
      variables.push_back(text);
    }
  }
  variables.push_back(preload);
  variables.push_back("QOR_RECORD_FILE=" + file);
  return variables;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

volatile sig_atomic_t running_process = 0;

void Forward(int signal) {
  if (running_process > 0) kill(running_process, signal);
}

// Signals from the terminal reach the program directly, so this process only ignores them. Signals
// to this process alone are forwarded.
class SignalForwarder {
 public:
  // Blocks the signals to forward until Begin(), when there is a process to forward them to.
  SignalForwarder() {
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int signal : {SIGTERM, SIGHUP}) sigaddset(&blocked, signal);
    pthread_sigmask(SIG_BLOCK, &blocked, &mask_before_);
    for (const int signal : {SIGINT, SIGQUIT}) Set(signal, SIG_IGN);
    for (const int signal : {SIGTERM, SIGHUP}) Set(signal, Forward);
  }
  SignalForwarder(const SignalForwarder&) = delete;
  SignalForwarder& operator=(const SignalForwarder&) = delete;
  ~SignalForwarder() {
    running_process = 0;
    for (const auto& [signal, action] : actions_before_) sigaction(signal, &action, nullptr);
    Unblock();
  }

  void Begin(pid_t process) const {
    running_process = process;
    Unblock();
  }

  // The program gets the signal mask and dispositions that this process was started with.
  sigset_t MaskBefore() const { return mask_before_; }
  sigset_t NotIgnoredBefore() const {
    sigset_t signals;
    sigemptyset(&signals);
    for (const auto& [signal, action] : actions_before_) {
      if (action.sa_handler != SIG_IGN) sigaddset(&signals, signal);
    }
    return signals;
  }

 private:
  void Set(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    struct sigaction previous {};
    sigaction(signal, &action, &previous);
    actions_before_.emplace_back(signal, previous);
  }

  void Unblock() const { pthread_sigmask(SIG_SETMASK, &mask_before_, nullptr); }

  sigset_t mask_before_{};
  std::vector<std::pair<int, struct sigaction>> actions_before_;
};

class SpawnAttributes {
 public:
  explicit SpawnAttributes(const SignalForwarder& signals) {
    const sigset_t mask = signals.MaskBefore();
    const sigset_t defaults = signals.NotIgnoredBefore();
    posix_spawnattr_init(&value_);
    posix_spawnattr_setsigmask(&value_, &mask);
    posix_spawnattr_setsigdefault(&value_, &defaults);
    posix_spawnattr_setflags(&value_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  ~SpawnAttributes() { posix_spawnattr_destroy(&value_); }
  const posix_spawnattr_t* Get() const { return &value_; }

 private:
  posix_spawnattr_t value_;
};

}  // namespace

int RunRecorded(const std::vector<std::string>& arguments, const std::string& file) {
  std::vector<std::string> own_arguments = arguments;
  std::vector<std::string> environment = EnvironmentWith(RecorderLibrary(), file);
  const SignalForwarder signals;
  const SpawnAttributes attributes(signals);
  pid_t process = 0;
  const int reason = posix_spawnp(&process, arguments[0].c_str(), nullptr, attributes.Get(),
                                  Pointers(own_arguments).data(), Pointers(environment).data());
  if (reason != 0) {
    throw ToolError(kError,
                    "cannot run " + arguments[0] + ": " + std::generic_category().message(reason),
                    "pass the program and its arguments after --");
  }
  signals.Begin(process);
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFSIGNALED(status) ? kSignalStatus + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace tools::cli
