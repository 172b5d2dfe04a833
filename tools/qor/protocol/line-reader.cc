// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/protocol/line-reader.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <utility>

namespace tools::cli {

namespace {

// Regular files and devices such as /dev/null are always ready, and epoll rejects them.
bool IsAlwaysReady(int fd) {
  struct stat status {};
  if (fstat(fd, &status) != 0) return false;
  return S_ISREG(status.st_mode) || (S_ISCHR(status.st_mode) && isatty(fd) == 0);
}

}  // namespace

LineReader::LineReader(int fd, Events events) : fd_(fd), events_(std::move(events)) {
  const auto on_ready = [](void* self, Ecore_Fd_Handler*) -> Eina_Bool {
    static_cast<LineReader*>(self)->Read();
    return static_cast<LineReader*>(self)->AtEnd() ? ECORE_CALLBACK_CANCEL : ECORE_CALLBACK_RENEW;
  };
  const auto add = IsAlwaysReady(fd) ? ecore_main_fd_handler_file_add : ecore_main_fd_handler_add;
  handler_ = add(fd, ECORE_FD_READ, on_ready, this, nullptr, nullptr);
  if (handler_ == nullptr) throw std::runtime_error("cannot read standard input");
}

LineReader::~LineReader() {
  if (handler_ != nullptr) ecore_main_fd_handler_del(handler_);
}

void LineReader::Read() {
  char block[64 * 1024];
  const ssize_t count = read(fd_, block, sizeof block);
  if (count > 0) {
    Append({block, static_cast<std::size_t>(count)});
    events_.on_pause();
    return;
  }
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
  if (!line_.empty()) EndLine();
  events_.on_pause();
  // Ecore deletes the handler when the callback returns CANCEL.
  handler_ = nullptr;
}

void LineReader::Append(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t end = bytes.find('\n');
    const std::string_view part = bytes.substr(0, end);
    if (!is_too_long_ && line_.size() + part.size() > kMaxLineSize) {
      is_too_long_ = true;
      line_ = {};
      events_.on_too_long(number_);
    }
    if (!is_too_long_) line_ += part;
    if (end == std::string_view::npos) return;
    EndLine();
    bytes.remove_prefix(end + 1);
  }
}

void LineReader::EndLine() {
  if (!is_too_long_) events_.on_line(number_, line_);
  line_.clear();
  is_too_long_ = false;
  ++number_;
}

}  // namespace tools::cli
