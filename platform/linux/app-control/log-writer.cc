// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Writes the output of one process to the log of its application.
//
// usage: qor-log-writer FILE < PIPE
//
// FILE exists. The pipe begins with the id of the process, a pid_t. Each line of the log is
//
//   2026-11-22T23:16:18.123Z 1234 text
//
// with the time (UTC) at which the line arrived, and the process id. Lines longer than kMaxLine are
// split. The writer exits at the end of its input, which is when the process and everything that
// inherited its output have exited, and ignores signals that ask it to exit before, so that the
// last lines of a process that is terminated with it arrive. When it cannot write, as on a full
// disk, it continues to read, so that the process is not blocked, and writes how much was lost when
// it can write again.
//
// Several processes of an application, as during an update, write to one log. Each write appends;
// only replacing the log is serialized, with a lock on the file.
//
// Uses only the C library, since one runs beside every launched process.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/linux/common/application-log.h"

namespace {

constexpr size_t kMaxLine = 4096;
constexpr size_t kMaxPrefix = 64;
constexpr int kOpenFlags = O_WRONLY | O_APPEND | O_NOFOLLOW | O_CLOEXEC;

size_t Min(size_t a, size_t b) { return a < b ? a : b; }

// Returns the number of bytes, fewer than `size` at the end of the input only.
size_t ReadInput(void* buffer, size_t size) {
  ssize_t count = 0;
  do count = read(STDIN_FILENO, buffer, size);
  while (count < 0 && errno == EINTR);
  return count > 0 ? static_cast<size_t>(count) : 0;
}

class LogFile {
 public:
  explicit LogFile(const char* path) : path_(path), fd_(open(path, kOpenFlags)) {
    std::snprintf(rotated_path_, sizeof rotated_path_, "%s%s", path, platform::kRotatedSuffix);
  }

  void Append(const char* text, size_t size) {
    struct stat held {};
    if (!IsCurrent(&held)) Reopen(open(path_, kOpenFlags), &held);
    if (fd_ < 0) return;  // removed with its application
    if (static_cast<size_t>(held.st_size) + size > platform::kMaxLogSize) Rotate();
    if (lost_ > 0) WriteLoss();
    if (write(fd_, text, size) != static_cast<ssize_t>(size)) lost_ += size;
  }

 private:
  // Whether the path still names the open file, whose state is set.
  bool IsCurrent(struct stat* held) const {
    struct stat present {};
    return fd_ >= 0 && fstat(fd_, held) == 0 && stat(path_, &present) == 0 &&
           held->st_dev == present.st_dev && held->st_ino == present.st_ino;
  }

  void Reopen(int fd, struct stat* held) {
    if (fd_ >= 0) close(fd_);
    fd_ = fd;
    if (fd_ >= 0) fstat(fd_, held);
  }

  void Rotate() {
    struct stat held {};
    if (flock(fd_, LOCK_EX) != 0) return;
    int next = -1;
    if (!IsCurrent(&held)) {
      next = open(path_, kOpenFlags);  // another writer has replaced the log meanwhile
    } else if (rename(path_, rotated_path_) == 0) {
      next = open(path_, kOpenFlags | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
      if (next < 0) rename(rotated_path_, path_);
    }
    if (next >= 0) {
      Reopen(next, &held);  // closing the old file releases the lock
    } else {
      flock(fd_, LOCK_UN);
    }
  }

  void WriteLoss() {
    char line[kMaxPrefix];
    const int size = std::snprintf(line, sizeof line, "\n(%zu bytes lost)\n", lost_);
    if (write(fd_, line, static_cast<size_t>(size)) == size) lost_ = 0;
  }

  const char* const path_;
  char rotated_path_[PATH_MAX];
  int fd_;
  size_t lost_ = 0;
};

// Adds the prefix to lines and passes them on in batches.
class LineFormatter {
 public:
  LineFormatter(LogFile* file, pid_t pid) : file_(file), pid_(pid) {}

  // Formats what is complete, or everything. Returns the number of bytes used.
  size_t Format(const char* text, size_t size, bool is_last) {
    SetPrefix();
    size_t used = 0;
    while (used < size) {
      const size_t left = size - used;
      const char* line = text + used;
      const auto* end = static_cast<const char*>(std::memchr(line, '\n', Min(left, kMaxLine + 1)));
      if (end == nullptr && left <= kMaxLine && !is_last) break;
      const size_t length = end == nullptr ? Min(left, kMaxLine) : static_cast<size_t>(end - line);
      AddLine(line, length);
      used += length + (end == nullptr ? 0 : 1);
    }
    Flush();
    return used;
  }

 private:
  void SetPrefix() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    gmtime_r(&now.tv_sec, &parts);
    const size_t size = std::strftime(prefix_, sizeof prefix_, "%FT%T", &parts);
    prefix_size_ = size + static_cast<size_t>(std::snprintf(
                              prefix_ + size, sizeof prefix_ - size, ".%03dZ %d ",
                              static_cast<int>(now.tv_nsec / 1'000'000), static_cast<int>(pid_)));
  }

  void AddLine(const char* text, size_t size) {
    if (used_ + prefix_size_ + size + 1 > sizeof batch_) Flush();
    Add(prefix_, prefix_size_);
    Add(text, size);
    Add("\n", 1);
  }

  void Add(const char* bytes, size_t size) {
    std::memcpy(batch_ + used_, bytes, size);
    used_ += size;
  }

  void Flush() {
    if (used_ > 0) file_->Append(batch_, used_);
    used_ = 0;
  }

  LogFile* const file_;
  const pid_t pid_;
  char prefix_[kMaxPrefix] = {};
  size_t prefix_size_ = 0;
  char batch_[4 * kMaxLine] = {};
  size_t used_ = 0;
};

void CopyLines(LineFormatter* formatter) {
  char input[2 * kMaxLine];
  size_t pending = 0;  // the beginning of a line
  while (const size_t count = ReadInput(input + pending, sizeof input - pending)) {
    const size_t size = pending + count;
    const size_t used = formatter->Format(input, size, false);
    pending = size - used;
    std::memmove(input, input + used, pending);
  }
  formatter->Format(input, pending, true);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  for (const int number : {SIGHUP, SIGINT, SIGTERM, SIGXFSZ}) std::signal(number, SIG_IGN);
  pid_t pid = 0;
  if (ReadInput(&pid, sizeof pid) != sizeof pid) return 0;
  LogFile file(argv[1]);
  LineFormatter formatter(&file, pid);
  CopyLines(&formatter);
  return 0;
}
