// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_HISTORY_H_
#define TESTS_CHAOS_HISTORY_H_

#include <fstream>
#include <string>

#include "history-checker.h"

namespace chaos {

// The journal is a file to the end of which several processes write: the recorder in the agent its
// events, all others notes, a line each. What was written stays when the writer is killed.

// Notes that the account needs. "fired" names a timer, by number.
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

  // A note; `about` may be empty. Aborts when the disk is full: nothing after could be believed.
  void Write(const std::string& note, const std::string& about) const;

 private:
  int file_;
};

class HistoryReader {
 public:
  // Throws std::system_error.
  explicit HistoryReader(const std::string& path);

  // Enters what was written since the last call.
  void Replay(HistoryChecker& checker);
  // The lines that could not be read: at most one for each agent that was killed while writing.
  int BadLines() const { return bad_lines_; }

 private:
  void ReplayNote(const std::string& line, HistoryChecker& checker);
  // The events that were read since the last note.
  void ReplayEvents(HistoryChecker& checker);

  std::ifstream file_;
  std::string rest_;
  std::string events_;
  int bad_lines_ = 0;
};

// The beginning of a command's history: the lines that name it, and those of its handler and agents
// from then on.
std::string HistoryOfCommand(const std::string& history, const std::string& uuid,
                             const std::string& handler);

}  // namespace chaos

#endif
