// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "history.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <sstream>
#include <system_error>

#include "record/event-reader.h"

namespace chaos {

namespace {

constexpr char kNoteMark = '#';

std::int64_t Microseconds() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return std::int64_t{time.tv_sec} * 1'000'000 + time.tv_nsec / 1'000;
}

}  // namespace

HistoryWriter::HistoryWriter(const std::string& path)
    : file_(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600)) {
  if (file_ < 0) throw std::system_error(errno, std::generic_category(), path);
}

HistoryWriter::~HistoryWriter() { close(file_); }

void HistoryWriter::Write(const std::string& note, const std::string& about) const {
  // Begins with a line feed: a process that was killed while writing leaves an incomplete line.
  const std::string line = std::string("\n") + kNoteMark + ' ' + std::to_string(Microseconds()) +
                           ' ' + note + ' ' + about + '\n';
  if (write(file_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) std::abort();
}

HistoryReader::HistoryReader(const std::string& path) : file_(path) {
  if (!file_) throw std::system_error(errno, std::generic_category(), path);
}

void HistoryReader::Replay(HistoryChecker& checker) {
  char bytes[1 << 16];
  for (;;) {
    file_.clear();
    file_.read(bytes, sizeof(bytes));
    if (file_.gcount() == 0) break;
    rest_.append(bytes, static_cast<std::size_t>(file_.gcount()));
  }
  std::size_t begin = 0;
  for (std::size_t end; (end = rest_.find('\n', begin)) != std::string::npos; begin = end + 1) {
    if (rest_[begin] == kNoteMark) {
      ReplayEvents(checker);
      ReplayNote(rest_.substr(begin, end - begin), checker);
    } else {
      events_.append(rest_, begin, end + 1 - begin);
    }
  }
  rest_.erase(0, begin);
  ReplayEvents(checker);
}

void HistoryReader::ReplayNote(const std::string& line, HistoryChecker& checker) {
  std::istringstream fields(line);
  std::string mark;
  std::string time;
  std::string note;
  int number = 0;
  fields >> mark >> time >> note;
  if (note == kTimerFired && fields >> number) checker.OnTimerFired(number);
  if (note == kPortMissing) checker.OnPortMissing();
  if (note == kAgentExited) checker.OnAgentExited();
}

void HistoryReader::ReplayEvents(HistoryChecker& checker) {
  if (events_.empty()) return;
  std::istringstream lines(events_);
  events_.clear();
  const auto read = tools::record::ReadJsonLines(lines);
  bad_lines_ += static_cast<int>(read.bad_lines.size());
  for (const auto& event : read.events) checker.OnEvent(event);
}

std::string HistoryOfCommand(const std::string& history, const std::string& uuid,
                             const std::string& handler) {
  constexpr std::size_t kMaxLineLength = 200;
  constexpr int kMaxLines = 60;
  std::ifstream file(history);
  std::string lines;
  int count = 0;
  bool is_sent = false;
  for (std::string line; count < kMaxLines && std::getline(file, line);) {
    const bool names_uuid = line.find('"' + uuid + '"') != std::string::npos;
    is_sent = is_sent || names_uuid;
    // Lines without a uuid about the handler or the agent, once the command has been sent.
    const bool is_about =
        is_sent && line.find("uuid") == std::string::npos &&
        (line.find(handler) != std::string::npos || line.find("agent") != std::string::npos);
    if (!names_uuid && !is_about) continue;
    lines += "    " + line.substr(0, kMaxLineLength) + "\n";
    ++count;
  }
  return lines;
}

}  // namespace chaos
