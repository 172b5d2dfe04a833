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

// Writes what happens in this process, one JSON object a line, to the end of the file that the
// environment names; nothing when it names none. What cannot be written is told once, on standard
// error, and ends the recording; the program notices nothing. Any thread may call.
class Recorder {
 public:
  // The first call opens the file and takes the recorder out of the environment, so that the
  // programs that this one starts run without it. Until then it is left there: a shell script, or a
  // program that executes itself again, still becomes the agent. Never destroyed: destructors call
  // the library too.
  static Recorder& Get() noexcept;

  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  // One event; `fill` adds its members to the open object.
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

  // The last event, of the process that the first was of.
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

// A text as the C interface takes them.
inline std::string Text(const char* text) { return text != nullptr ? text : ""; }

}  // namespace tools::recorder

#endif
