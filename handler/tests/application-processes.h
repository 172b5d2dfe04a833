// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_TESTS_APPLICATION_PROCESSES_H_
#define QOR_HANDLER_TESTS_APPLICATION_PROCESSES_H_

#include <sys/types.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "platform/linux/app-control/launch-protocol.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/unix-socket.h"

namespace qor::test {

// Whether the application's launch socket is closed. A dying process still accepts launch requests
// for a moment, and they are lost with it.
inline bool IsGone(const std::string& application) {
  return !platform::ConnectTo(platform::FolderBelowRoot(platform::kApplicationSocketFolder),
                              application);
}

// Kills the processes that execute a file of this name below a folder.
inline void KillAll(const std::string& folder, const std::string& name) {
  namespace fs = std::filesystem;
  for (const pid_t pid : platform::FindProcesses([&](const platform::Executable& file) {
         return file.path.rfind(folder + '/', 0) == 0 && fs::path(file.path).filename() == name;
       })) {
    kill(pid, SIGKILL);
  }
}

}  // namespace qor::test

#endif
