// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/logs/log-reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/common/application-log.h"

namespace tools::cli {

LogReader::LogReader(const std::string& app_id)
    : path_(platform::LogOf(app_id)), older_path_(path_ + platform::kRotatedSuffix) {}

void LogReader::Open(const std::string& path) {
  file_.Reset(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  // Not of the path, which may name another file by now. An open file's number is not reused.
  struct stat status {};
  file_id_.reset();
  if (file_ && fstat(file_.Get(), &status) == 0)
    file_id_ = platform::FileId{status.st_dev, status.st_ino};
  partial_line_.clear();
}

bool LogReader::IsCurrent(const std::string& path) const {
  return file_id_ && platform::FileAt(path) == file_id_;
}

bool LogReader::OpenNext() {
  if (IsCurrent(path_)) return false;
  const bool is_older_read = IsCurrent(older_path_);
  if (!is_older_read && platform::FileAt(older_path_)) {
    Open(older_path_);
  } else if (platform::FileAt(path_)) {
    Open(path_);
  } else {
    return false;
  }
  return static_cast<bool>(file_);
}

void LogReader::SkipToEnd() {
  Open(path_);
  if (file_) lseek(file_.Get(), 0, SEEK_END);
}

void LogReader::ReadFile(const std::function<void(const std::string& line)>& on_line) {
  char part[16 * 1024];
  for (;;) {
    const ssize_t count = file_ ? read(file_.Get(), part, sizeof part) : 0;
    if (count <= 0) return;
    partial_line_.append(part, static_cast<std::size_t>(count));
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = partial_line_.find('\n', begin)) != std::string::npos;
         begin = end + 1)
      on_line(partial_line_.substr(begin, end - begin));
    partial_line_.erase(0, begin);
  }
}

void LogReader::ReadLines(const std::function<void(const std::string& line)>& on_line) {
  do ReadFile(on_line);
  while (OpenNext());
}

}  // namespace tools::cli
