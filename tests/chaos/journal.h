// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_JOURNAL_H_
#define TESTS_CHAOS_JOURNAL_H_

#include <fstream>
#include <string>

#include "account.h"

namespace chaos {

// The journal is a file to the end of which several processes write: the recorder in the agent its
// events, all others notes, a line each. What was written stays when the writer is killed.

// Notes that the account needs. "fired" names a timer, by number.
inline constexpr char kFired[] = "fired";
inline constexpr char kNoPort[] = "no-port";
inline constexpr char kAgentEnded[] = "agent-ended";

class JournalWriter {
 public:
  // Throws std::system_error.
  explicit JournalWriter(const std::string& path);
  JournalWriter(const JournalWriter&) = delete;
  JournalWriter& operator=(const JournalWriter&) = delete;
  ~JournalWriter();

  // A note; `about` may be empty. Aborts when the disk is full: nothing after could be believed.
  void Write(const std::string& note, const std::string& about) const;

 private:
  int file_;
};

class JournalReader {
 public:
  // Throws std::system_error.
  explicit JournalReader(const std::string& path);

  // Enters what was written since the last call.
  void Enter(Account& account);
  // The lines that could not be read: at most one for each agent that was killed while writing.
  int BadLines() const { return bad_lines_; }

 private:
  void EnterNote(const std::string& line, Account& account);
  // The events that were read since the last note.
  void EnterEvents(Account& account);

  std::ifstream file_;
  std::string rest_;
  std::string events_;
  int bad_lines_ = 0;
};

// The beginning of a command's history: the lines that name it, and those of its handler and agents
// from then on.
std::string LinesThatName(const std::string& journal, const std::string& uuid,
                          const std::string& handler);

}  // namespace chaos

#endif
