// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_RECORD_RECORD_H_
#define QOR_TOOLS_RECORD_RECORD_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "record/event.h"

namespace tools::record {

// All times in this file are microseconds since the beginning of the record.

enum class Outcome {
  kSuccess,
  // The handler returned an error.
  kFailure,
  // The launched handler did not connect in time.
  kConnectionTimeout,
  // The handler did not answer in time.
  kExecutionTimeout,
  // The library rejected the command.
  kRefused,
  // The library was shut down, or the agent exited, while the command was pending.
  kDropped,
  // The record ends while the command is pending.
  kUnfinished,
  // An answer to a command without a "sent" event.
  kUnsolicited,
};

// What a command waits for.
enum class Phase {
  // The launched handler has not connected yet.
  kConnecting,
  // The connected handler has not fetched the command yet.
  kWaiting,
  // The handler has not answered yet.
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

// A handler that crashes again and again interrupts all of its commands each time. More
// interruptions explain nothing, and would make the record grow with their product.
constexpr std::size_t kMaxInterruptions = 5;

// The end of a handler's process.
struct Exit {
  // Process id of the agent that launched the handler.
  std::int64_t process;
  std::int64_t handler_process;
  std::int64_t time;
  std::int64_t status;
  std::int64_t signal;
  std::string text;
};

struct Command {
  // Process id of the agent.
  std::int64_t process = 0;
  std::string uuid;
  std::string type;
  std::string payload;
  // Empty if the command was not routed.
  std::string handler;
  Outcome outcome = Outcome::kUnfinished;
  // When it was sent; of an unsolicited answer, when it arrived.
  std::int64_t begin = 0;
  std::optional<std::int64_t> accepted;
  std::optional<std::int64_t> launched;
  std::optional<std::int64_t> connected;
  // More than one if the handler fetched the command again.
  std::vector<std::int64_t> delivered;
  std::vector<Extension> extensions;
  // The first disconnections and exits of the handler while the command was pending; at most
  // kMaxInterruptions of each.
  std::vector<std::int64_t> disconnected;
  std::vector<Exit> exits;
  // The end of the record for an unfinished command.
  std::int64_t end = 0;
  // The library's error code; 0 if it accepted the command.
  std::int64_t code = 0;
  // Only for success and failure.
  std::optional<Answer> answer;
  // Answers after the end of the command.
  std::vector<Answer> late_answers;
  // Consecutive, without phases of no duration.
  std::vector<Segment> segments;

  std::int64_t Duration() const { return end - begin; }
};

// The time from connection to disconnection of a handler.
struct Connection {
  std::int64_t process;
  std::string instance;
  std::int64_t begin;
  std::int64_t end;
};

struct Handler {
  std::string id;
  std::vector<Connection> connections;
  std::vector<Exit> exits;
};

struct Agent {
  std::int64_t process;
  std::string program;
};

struct Record {
  // Microseconds since 1970; 0 if unknown.
  std::int64_t wall = 0;
  std::int64_t duration = 0;
  std::vector<Agent> agents;
  // In order of first appearance.
  std::vector<Handler> handlers;
  std::vector<Command> commands;
  // The source events with unchanged times, and for each the index of its command.
  std::vector<Event> events;
  std::vector<std::optional<std::size_t>> command_of_event;
  // The time of the first event.
  std::int64_t origin = 0;
};

// Names for output in all formats.
const char* NameOf(Outcome outcome);
const char* NameOf(Phase phase);
// Describes the library's error code for a rejected command.
std::string ReasonOf(std::int64_t code);

// Joins events, sorted by time, to command timelines.
Record MakeRecord(std::vector<Event> events);

}  // namespace tools::record

#endif
