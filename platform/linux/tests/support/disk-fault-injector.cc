// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/tests/support/disk-fault-injector.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <utility>

namespace platform::test {
namespace {

using Kind = DiskFaultInjector::Kind;

struct State {
  std::string folder;
  Kind kind = Kind::kFull;
  int calls_left = 0;
  bool has_failed = false;
};

State* state = nullptr;

std::string PathOf(int fd) {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), error);
}

// Returns the errno value with which a call on the path fails, 0 if it succeeds.
int FailureOf(const std::string& path, bool needs_space) {
  if (state == nullptr || path.compare(0, state->folder.size() + 1, state->folder + "/") != 0)
    return 0;
  if (state->kind == Kind::kFull && !needs_space) return 0;
  if (state->calls_left > 1) {
    --state->calls_left;
    return 0;
  }
  if (state->kind == Kind::kOneFailure && state->has_failed) return 0;
  state->has_failed = true;
  switch (state->kind) {
    case Kind::kFull:
      return ENOSPC;
    case Kind::kReadOnly:
      return EROFS;
    case Kind::kOneFailure:
      break;
  }
  return EIO;
}

template <typename Function, typename... Arguments>
auto CallUnless(int failure, const char* name, Function*, Arguments... arguments)
    -> decltype(std::declval<Function*>()(arguments...)) {
  if (failure != 0) {
    errno = failure;
    return -1;
  }
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name))(arguments...);
}

}  // namespace

DiskFaultInjector::DiskFaultInjector(std::string folder, Kind kind, int number) {
  state = new State{std::move(folder), kind, number, false};
}

DiskFaultInjector::~DiskFaultInjector() {
  delete state;
  state = nullptr;
}

bool DiskFaultInjector::HasFailed() const { return state->has_failed; }

// Definitions with the C library's symbol names. Separate names in the source avoid conflicts with
// the attributes and macros of the C library's declarations. Relative paths do not occur.
#define INTERPOSES(name) __asm__(#name) __attribute__((visibility("default"), used))

#define INTERPOSE_ON_DESCRIPTOR(name, result, needs_space, parameters, ...)        \
  extern "C" result Failing_##name parameters INTERPOSES(name);                    \
  extern "C" result Failing_##name parameters {                                    \
    const int failure = state == nullptr ? 0 : FailureOf(PathOf(fd), needs_space); \
    return CallUnless<result parameters>(failure, #name, nullptr, __VA_ARGS__);    \
  }

#define INTERPOSE_ON_PATH(name, needs_space, parameters, ...)                \
  extern "C" int Failing_##name parameters INTERPOSES(name);                 \
  extern "C" int Failing_##name parameters {                                 \
    const int failure = state == nullptr ? 0 : FailureOf(path, needs_space); \
    return CallUnless<int parameters>(failure, #name, nullptr, __VA_ARGS__); \
  }

#define INTERPOSE_OPEN(name)                                                                     \
  extern "C" int Failing_##name(const char* path, int flags, ...) INTERPOSES(name);              \
  extern "C" int Failing_##name(const char* path, int flags, ...) {                              \
    va_list rest;                                                                                \
    va_start(rest, flags);                                                                       \
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;                       \
    va_end(rest);                                                                                \
    return CallUnless<int(const char*, int, ...)>(FailureOfOpening(path, flags), #name, nullptr, \
                                                  path, flags, mode);                            \
  }

namespace {

int FailureOfOpening(const char* path, int flags) {
  if (state == nullptr || (flags & (O_CREAT | O_WRONLY | O_RDWR)) == 0) return 0;
  const bool creates = (flags & O_CREAT) != 0 && access(path, F_OK) != 0;
  return FailureOf(path, creates);
}

}  // namespace

INTERPOSE_OPEN(open)
INTERPOSE_OPEN(open64)
INTERPOSE_ON_DESCRIPTOR(write, ssize_t, true, (int fd, const void* bytes, size_t size), fd, bytes,
                        size)
INTERPOSE_ON_DESCRIPTOR(pwrite, ssize_t, true,
                        (int fd, const void* bytes, size_t size, off_t offset), fd, bytes, size,
                        offset)
INTERPOSE_ON_DESCRIPTOR(pwrite64, ssize_t, true,
                        (int fd, const void* bytes, size_t size, off64_t offset), fd, bytes, size,
                        offset)
INTERPOSE_ON_DESCRIPTOR(ftruncate, int, false, (int fd, off_t size), fd, size)
INTERPOSE_ON_DESCRIPTOR(ftruncate64, int, false, (int fd, off64_t size), fd, size)
INTERPOSE_ON_DESCRIPTOR(fchmod, int, false, (int fd, mode_t mode), fd, mode)
INTERPOSE_ON_PATH(mkdir, true, (const char* path, mode_t mode), path, mode)
INTERPOSE_ON_PATH(rename, false, (const char* path, const char* target), path, target)
INTERPOSE_ON_PATH(unlink, false, (const char* path), path)
INTERPOSE_ON_PATH(rmdir, false, (const char* path), path)
INTERPOSE_ON_PATH(remove, false, (const char* path), path)

// Does not sync: tests do not survive a power failure, and syncing would dominate their run time.
#define INTERPOSE_SYNC(name)                                    \
  extern "C" int Failing_##name(int fd) INTERPOSES(name);       \
  extern "C" int Failing_##name(int fd) {                       \
    errno = state == nullptr ? 0 : FailureOf(PathOf(fd), true); \
    return errno == 0 ? 0 : -1;                                 \
  }

INTERPOSE_SYNC(fsync)
INTERPOSE_SYNC(fdatasync)

extern "C" int FailingUnlinkat(int folder, const char* path, int flags) INTERPOSES(unlinkat);
extern "C" int FailingUnlinkat(int folder, const char* path, int flags) {
  const std::string full = state == nullptr || *path == '/' ? path : PathOf(folder) + "/" + path;
  return CallUnless<int(int, const char*, int)>(FailureOf(full, false), "unlinkat", nullptr, folder,
                                                path, flags);
}

}  // namespace platform::test
