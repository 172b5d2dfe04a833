// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/protocol/line-writer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <iostream>

namespace tools::cli {

LineWriter::LineWriter() {
  std::signal(SIGPIPE, SIG_IGN);
  struct stat status {};
  if (fstat(STDOUT_FILENO, &status) != 0) return;
  if (!S_ISFIFO(status.st_mode) && !S_ISSOCK(status.st_mode)) return;
  // Detects a reader that closes the pipe while nothing is written.
  watch_ = ecore_main_fd_handler_add(
      STDOUT_FILENO, ECORE_FD_ERROR,
      [](void* data, Ecore_Fd_Handler*) -> Eina_Bool {
        auto* self = static_cast<LineWriter*>(data);
        self->closed_ = true;
        self->watch_ = nullptr;
        return ECORE_CALLBACK_CANCEL;
      },
      this, nullptr, nullptr);
}

LineWriter::~LineWriter() {
  if (watch_ != nullptr) ecore_main_fd_handler_del(watch_);
}

void LineWriter::Write(const std::string& line) {
  if (!closed_ && !(std::cout << line << std::endl)) closed_ = true;
}

}  // namespace tools::cli
