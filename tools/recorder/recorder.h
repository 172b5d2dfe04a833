// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_RECORDER_RECORDER_H_
#define QOR_TOOLS_RECORDER_RECORDER_H_

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <string>

#include "json/value-writer.h"

namespace tools::recorder {

// Microseconds of the monotonic clock, which is the same in every process.
std::int64_t Now();

// Appends the events of this process as JSON Lines to the file that the environment names; does
// nothing without one. The first write error is reported on standard error and ends the recording;
// the program is not affected. Thread-safe.
class Recorder {
 public:
  // The first call opens the file and removes the recorder from the environment, so that child
  // processes run without it. Until then it stays there, because the agent may be started by a
  // shell script or execute itself again. Never destroyed, because destructors of static objects
  // may call the library.
  static Recorder& Get() noexcept;

  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  // Writes one event. `fill` adds members to the open object.
  template <typename Fill>
  void Write(std::int64_t time, const char* event, Fill fill) noexcept {
    if (!recording_) return;
    const int errno_of_caller = errno;
    try {
      json::ValueWriter json;
      json.BeginObject().Member("t", time).Member("pid", Process()).Member("event", event);
      fill(json);
      Append(json.EndObject().Text() + "\n");
    } catch (const std::exception& error) {
      GiveUp(error.what());
    }
    errno = errno_of_caller;
  }

  // Writes the last event, unless this is a forked child.
  void WriteEnd() noexcept;

 private:
  Recorder() noexcept;

  static std::int64_t Process();
  void Append(const std::string& line) const;
  void GiveUp(const char* reason) noexcept;

  std::string path_;
  std::atomic<bool> recording_{false};
  int file_ = -1;
  std::int64_t first_process_ = 0;
};

template <typename Fill>
void Record(const char* event, Fill fill) noexcept {
  Recorder::Get().Write(Now(), event, fill);
}

// Converts a C string; null becomes empty.
inline std::string Text(const char* text) { return text != nullptr ? text : ""; }

}  // namespace tools::recorder

#endif
