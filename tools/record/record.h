// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_RECORD_RECORD_H_
#define QOR_TOOLS_RECORD_RECORD_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "record/event.h"

namespace tools::record {

// All times in here are microseconds since the beginning of the record.

// How a command ended.
enum class Outcome {
  kSuccess,
  // The handler said so.
  kFailure,
  // The launched handler did not connect in time.
  kConnectionTimeout,
  // The handler did not answer in time.
  kExecutionTimeout,
  // The library did not take it.
  kRefused,
  // The library was shut down, or the agent ended, before it was answered.
  kDropped,
  // Not before the record did.
  kUnfinished,
  // Was answered, but never sent as far as the record knows.
  kUnsolicited,
};

// What a command spent its time with.
enum class Phase {
  // Waiting for the handler that was launched for it to connect.
  kConnecting,
  // Waiting for the connected handler to take it.
  kWaiting,
  // In the handler's hands.
  kExecuting,
};

struct Segment {
  Phase phase;
  std::int64_t begin;
  std::int64_t end;
};

struct Extension {
  std::int64_t time;
  double seconds;
  bool granted;
};

struct Answer {
  std::int64_t time;
  std::int64_t status;
  std::string result;
  std::string error;
};

struct Command {
  // Of the agent.
  std::int64_t process = 0;
  std::string uuid;
  std::string type;
  std::string payload;
  // Empty when the command was given to none.
  std::string handler;
  Outcome outcome = Outcome::kUnfinished;
  // When it was sent; without that, the first that was heard of it.
  std::int64_t begin = 0;
  std::optional<std::int64_t> accepted;
  std::optional<std::int64_t> launched;
  std::optional<std::int64_t> connected;
  // More than one when the handler asked again for its commands.
  std::vector<std::int64_t> delivered;
  std::vector<Extension> extensions;
  // The end of the record for one that has none of its own.
  std::int64_t end = 0;
  // What the library said when it did not take it; 0 when it did.
  std::int64_t code = 0;
  // Only for a success or a failure.
  std::optional<Answer> answer;
  // Came when the command had already ended.
  std::vector<Answer> late_answers;
  // One after the other, without those that took no time.
  std::vector<Segment> segments;

  std::int64_t Duration() const { return end - begin; }
};

// The time during which a handler was connected.
struct Connection {
  std::int64_t process;
  std::string instance;
  std::int64_t begin;
  std::int64_t end;
};

struct Handler {
  std::string id;
  std::vector<Connection> connections;
};

struct Agent {
  std::int64_t process;
  std::string program;
};

struct Record {
  // Microseconds since 1970; 0 when the record does not say.
  std::int64_t wall = 0;
  std::int64_t duration = 0;
  std::vector<Agent> agents;
  // In the order in which they appear.
  std::vector<Handler> handlers;
  std::vector<Command> commands;
  // What the record was made from, times as they were; and the command that each belongs to.
  std::vector<Event> events;
  std::vector<std::optional<std::size_t>> command_of_event;
  // What `events` count their times from.
  std::int64_t origin = 0;
};

// For people and for machines: "success", "connection timeout"...
const char* NameOf(Outcome outcome);
const char* NameOf(Phase phase);
// Why a command was refused: what the library's code means, and the code.
std::string ReasonOf(std::int64_t code);

// Joins the events, which are in the order of their times, to the lives of commands.
Record MakeRecord(std::vector<Event> events);

}  // namespace tools::record

#endif
