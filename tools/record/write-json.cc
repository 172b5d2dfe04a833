// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <variant>

#include "json/value-writer.h"
#include "record/writers.h"

namespace tools::record {

namespace {

// Whether an event ends its command, or is an answer after the end.
enum class Position { kBeforeEnd, kEnd, kLate };

Position PositionOf(const Event& event, const Command& command, std::int64_t at) {
  switch (event.kind) {
    case EventKind::kAnswered:
      return command.answer && command.answer->time == at ? Position::kEnd : Position::kLate;
    case EventKind::kTimedOut:
    case EventKind::kRefused:
      return Position::kEnd;
    default:
      return Position::kBeforeEnd;
  }
}

}  // namespace

void WriteJson(const Record& record, std::ostream& out) {
  for (std::size_t i = 0; i < record.events.size(); ++i) {
    const Event& event = record.events[i];
    const std::int64_t at = event.time - record.origin;
    json::ValueWriter json;
    json.BeginObject()
        .Member("t", event.time)
        .Member("pid", event.process)
        .Member("event", NameOf(event.kind));
    for (const Member& member : MembersOf(event.kind)) {
      std::visit([&](auto field) { json.Member(member.key, event.*field); }, member.field);
    }
    json.Member("at", at);
    if (const auto index = record.command_of_event[i]) {
      const Command& command = record.commands[*index];
      json.Member("command", static_cast<std::int64_t>(*index + 1))
          .Member("sinceSent", at - command.begin);
      const Position position = PositionOf(event, command, at);
      if (position == Position::kEnd) json.Member("outcome", NameOf(command.outcome));
      if (position == Position::kLate) json.Member("late", true);
    }
    out << json.EndObject().Text() << "\n";
  }
}

}  // namespace tools::record
