// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "recorder/recorder.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <stdexcept>
#include <system_error>

namespace tools::recorder {

namespace {

constexpr char kFileVariable[] = "QOR_RECORD_FILE";
constexpr char kPreloadVariable[] = "LD_PRELOAD";
constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;
constexpr std::int64_t kNanosecondsPerMicrosecond = 1'000;

std::int64_t Microseconds(const timespec& time) {
  return time.tv_sec * kMicrosecondsPerSecond + time.tv_nsec / kNanosecondsPerMicrosecond;
}

std::int64_t WallTime() {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return Microseconds(time);
}

std::string OwnPath() {
  static const char here = 0;
  Dl_info info{};
  return dladdr(&here, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname : "";
}

// Removes `path` from LD_PRELOAD, which is separated by colons or spaces.
std::string Without(const std::string& list, const std::string& path) {
  std::string rest;
  std::size_t begin = 0;
  while (begin <= list.size()) {
    const std::size_t end = std::min(list.find_first_of(": ", begin), list.size());
    const std::string entry = list.substr(begin, end - begin);
    if (!entry.empty() && entry != path) rest += (rest.empty() ? "" : ":") + entry;
    begin = end + 1;
  }
  return rest;
}

void LeaveEnvironment() {
  unsetenv(kFileVariable);
  const char* preloaded = std::getenv(kPreloadVariable);
  if (preloaded == nullptr) return;
  const std::string others = Without(preloaded, OwnPath());
  if (others.empty()) {
    unsetenv(kPreloadVariable);
  } else {
    setenv(kPreloadVariable, others.c_str(), 1);
  }
}

}  // namespace

std::int64_t Now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return Microseconds(time);
}

Recorder& Recorder::Get() noexcept {
  // Never destroyed, and in static memory: an allocation could fail.
  alignas(Recorder) static std::byte place[sizeof(Recorder)];
  static Recorder& recorder = *new (place) Recorder;
  return recorder;
}

Recorder::Recorder() noexcept {
  try {
    const char* path = std::getenv(kFileVariable);
    if (path == nullptr) return;
    path_ = path;
    recording_ = true;
    LeaveEnvironment();
    file_ = open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file_ < 0) throw std::system_error(errno, std::generic_category(), "open");
  } catch (const std::exception& error) {
    GiveUp(error.what());
    return;
  }
  first_process_ = Process();
  Write(Now(), "start", [](json::ValueWriter& json) {
    json.Member("program", Text(program_invocation_name)).Member("wall", WallTime());
  });
}

void Recorder::WriteEnd() noexcept {
  if (Process() == first_process_) Write(Now(), "end", [](json::ValueWriter&) {});
}

std::int64_t Recorder::Process() { return getpid(); }

// O_APPEND makes each write atomic among several processes.
void Recorder::Append(const std::string& line) const {
  ssize_t written = 0;
  do {
    written = write(file_, line.data(), line.size());
  } while (written < 0 && errno == EINTR);
  if (written < 0) throw std::system_error(errno, std::generic_category(), "write");
  if (static_cast<std::size_t>(written) < line.size()) throw std::runtime_error("no space left");
}

void Recorder::GiveUp(const char* reason) noexcept {
  if (!recording_.exchange(false)) return;
  std::fprintf(stderr, "qor-recorder: recording to %s stopped: %s\n", path_.c_str(), reason);
}

namespace {

// The environment still names the file if nothing was recorded.
__attribute__((destructor)) void OnUnload() {
  if (std::getenv(kFileVariable) == nullptr) Recorder::Get().WriteEnd();
}

}  // namespace

}  // namespace tools::recorder
