// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/process-end.h"

#include <string.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/linux/common/application-log.h"

namespace platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::system_clock;

// Names in the file, in the order of the values.
constexpr const char* kKinds[] = {"exited", "killed", "not-started", "unknown"};

std::optional<ProcessEnd::Kind> KindOf(const std::string& name) {
  for (size_t i = 0; i < std::size(kKinds); ++i)
    if (name == kKinds[i]) return static_cast<ProcessEnd::Kind>(i);
  return std::nullopt;
}

// The line of the file: milliseconds since 1970, process, kind, number, core dump, cause.
std::string Encode(const ProcessEnd& end) {
  const auto time = std::chrono::duration_cast<milliseconds>(end.time.time_since_epoch());
  std::ostringstream line;
  line << time.count() << ' ' << end.pid << ' ' << kKinds[static_cast<size_t>(end.kind)] << ' '
       << end.number << ' ' << end.dumped_core << ' ' << end.cause << '\n';
  return line.str();
}

std::optional<ProcessEnd> Decode(std::istream& file) {
  ProcessEnd end;
  milliseconds::rep time = 0;
  std::string kind;
  if (!(file >> time >> end.pid >> kind >> end.number >> end.dumped_core)) return std::nullopt;
  const auto known_kind = KindOf(kind);
  if (!known_kind || file.get() != ' ' || !std::getline(file, end.cause)) return std::nullopt;
  end.kind = *known_kind;
  end.time = system_clock::time_point(milliseconds(time));
  return end;
}

std::string NameOf(int signal) {
  const char* name = sigdescr_np(signal);
  return name == nullptr ? "" : " (" + std::string(name) + ")";
}

std::string DescribeStatus(const ProcessEnd& end) {
  const std::string number = std::to_string(end.number);
  switch (end.kind) {
    case ProcessEnd::Kind::kExited:
      return "exited with status " + number;
    case ProcessEnd::Kind::kKilled:
      return "killed by signal " + number + NameOf(end.number) +
             (end.dumped_core ? ", core dumped" : "");
    case ProcessEnd::Kind::kNotStarted:
    case ProcessEnd::Kind::kUnknown:
      break;
  }
  return "exited with unknown status";
}

}  // namespace

std::string Describe(const ProcessEnd& end) {
  if (end.kind == ProcessEnd::Kind::kNotStarted) return end.cause;
  return DescribeStatus(end) + (end.cause.empty() ? "" : ": " + end.cause);
}

void StoreLastEnd(const std::string& app_id, const ProcessEnd& end) {
  if (access(LogOf(app_id).c_str(), F_OK) != 0) return;
  const std::string path = EndFileOf(app_id);
  const std::string temporary = path + "." + std::to_string(getpid());
  std::ofstream file(temporary);
  file << Encode(end);
  file.close();
  if (file.fail() || rename(temporary.c_str(), path.c_str()) != 0) unlink(temporary.c_str());
}

std::optional<ProcessEnd> FindLastEnd(const std::string& app_id) {
  std::ifstream file(EndFileOf(app_id));
  return Decode(file);
}

}  // namespace platform
