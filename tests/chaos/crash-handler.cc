// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "crash-handler.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace chaos {

namespace {

const char* crash_file = nullptr;
const char* crashed_program = nullptr;

// Async-signal-safe.
void OnCrash(int signal) {
  const int file = open(crash_file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (file >= 0) {
    char line[] = ": signal ??\n";
    line[9] = static_cast<char>('0' + signal / 10);
    line[10] = static_cast<char>('0' + signal % 10);
    [[maybe_unused]] auto written = write(file, crashed_program, std::strlen(crashed_program));
    written = write(file, line, std::strlen(line));
  }
  // SA_RESETHAND has restored the default disposition.
  raise(signal);
}

}  // namespace

void InstallCrashHandler(const char* program) {
  crash_file = std::getenv(kCrashFileVariable);
  if (crash_file == nullptr) return;
  crashed_program = program;
  for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_DFL) continue;
    struct sigaction action {};
    action.sa_handler = OnCrash;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(signal, &action, nullptr);
  }
}

}  // namespace chaos
