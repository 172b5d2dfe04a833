// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_HISTORY_H_
#define TESTS_CHAOS_HISTORY_H_

#include <fstream>
#include <string>

#include "history-checker.h"

namespace chaos {

// The history of a run is a file to which several processes append lines: the recorder in the agent
// writes events, all others write notes. Completed writes survive when the writer is killed.

// Notes that the checker needs. "fired" has the number of a timer.
inline constexpr char kTimerFired[] = "fired";
inline constexpr char kPortMissing[] = "no-port";
inline constexpr char kAgentExited[] = "agent-ended";

class HistoryWriter {
 public:
  // Throws std::system_error.
  explicit HistoryWriter(const std::string& path);
  HistoryWriter(const HistoryWriter&) = delete;
  HistoryWriter& operator=(const HistoryWriter&) = delete;
  ~HistoryWriter();

  // Appends a note about a process or package; `about` may be empty. Aborts on a write error, since
  // an incomplete history cannot be checked.
  void Write(const std::string& note, const std::string& about) const;

 private:
  int file_;
};

class HistoryReader {
 public:
  // Throws std::system_error.
  explicit HistoryReader(const std::string& path);

  // Passes the lines that were written since the last call to the checker.
  void Replay(HistoryChecker& checker);
  // Number of invalid lines: at most one for each agent that was killed while writing.
  int BadLines() const { return bad_lines_; }

 private:
  void ReplayNote(const std::string& line, HistoryChecker& checker);
  // Passes on the events since the last note.
  void ReplayEvents(HistoryChecker& checker);

  std::ifstream file_;
  std::string rest_;
  std::string events_;
  int bad_lines_ = 0;
};

// Returns the first lines of a command's history: the lines with its uuid and, from the first of
// them on, those about its handler and the agents.
std::string HistoryOfCommand(const std::string& history, const std::string& uuid,
                             const std::string& handler);

}  // namespace chaos

#endif
