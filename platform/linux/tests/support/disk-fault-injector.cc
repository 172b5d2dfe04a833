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
  int to_go = 0;
  bool has_failed = false;
};

State* state = nullptr;

std::string PathOf(int fd) {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), error);
}

// errno's value for a call on this path, 0 when it may go on.
int FailureOf(const std::string& path, bool takes_room) {
  if (state == nullptr || path.compare(0, state->folder.size() + 1, state->folder + "/") != 0)
    return 0;
  if (state->kind == Kind::kFull && !takes_room) return 0;
  if (state->to_go > 1) {
    --state->to_go;
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

// In place of the C library's, whose declarations may be more than plain ones. A path without a
// folder in front does not occur.
#define IN_PLACE_OF(name) __asm__(#name) __attribute__((visibility("default"), used))

#define ON_DESCRIPTOR(name, result, takes_room, parameters, ...)                  \
  extern "C" result Failing_##name parameters IN_PLACE_OF(name);                  \
  extern "C" result Failing_##name parameters {                                   \
    const int failure = state == nullptr ? 0 : FailureOf(PathOf(fd), takes_room); \
    return CallUnless<result parameters>(failure, #name, nullptr, __VA_ARGS__);   \
  }

#define ON_PATH(name, takes_room, parameters, ...)                           \
  extern "C" int Failing_##name parameters IN_PLACE_OF(name);                \
  extern "C" int Failing_##name parameters {                                 \
    const int failure = state == nullptr ? 0 : FailureOf(path, takes_room);  \
    return CallUnless<int parameters>(failure, #name, nullptr, __VA_ARGS__); \
  }

#define OPENING(name)                                                                            \
  extern "C" int Failing_##name(const char* path, int flags, ...) IN_PLACE_OF(name);             \
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

OPENING(open)
OPENING(open64)
ON_DESCRIPTOR(write, ssize_t, true, (int fd, const void* bytes, size_t size), fd, bytes, size)
ON_DESCRIPTOR(pwrite, ssize_t, true, (int fd, const void* bytes, size_t size, off_t offset), fd,
              bytes, size, offset)
ON_DESCRIPTOR(pwrite64, ssize_t, true, (int fd, const void* bytes, size_t size, off64_t offset), fd,
              bytes, size, offset)
ON_DESCRIPTOR(ftruncate, int, false, (int fd, off_t size), fd, size)
ON_DESCRIPTOR(ftruncate64, int, false, (int fd, off64_t size), fd, size)
ON_DESCRIPTOR(fchmod, int, false, (int fd, mode_t mode), fd, mode)
ON_PATH(mkdir, true, (const char* path, mode_t mode), path, mode)
ON_PATH(rename, false, (const char* path, const char* target), path, target)
ON_PATH(unlink, false, (const char* path), path)
ON_PATH(rmdir, false, (const char* path), path)
ON_PATH(remove, false, (const char* path), path)

// Nothing here outlives the machine, and waiting for its disk would take most of the time.
#define SYNCING(name)                                           \
  extern "C" int Failing_##name(int fd) IN_PLACE_OF(name);      \
  extern "C" int Failing_##name(int fd) {                       \
    errno = state == nullptr ? 0 : FailureOf(PathOf(fd), true); \
    return errno == 0 ? 0 : -1;                                 \
  }

SYNCING(fsync)
SYNCING(fdatasync)

extern "C" int FailingUnlinkat(int folder, const char* path, int flags) IN_PLACE_OF(unlinkat);
extern "C" int FailingUnlinkat(int folder, const char* path, int flags) {
  const std::string full = state == nullptr || *path == '/' ? path : PathOf(folder) + "/" + path;
  return CallUnless<int(int, const char*, int)>(FailureOf(full, false), "unlinkat", nullptr, folder,
                                                path, flags);
}

}  // namespace platform::test
