// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <variant>

#include "json/value-writer.h"
#include "record/writers.h"

namespace tools::record {

namespace {

// Whether the command ended with this event, or it came too late for that.
enum class Ending { kNone, kEnd, kLate };

Ending EndingOf(const Event& event, const Command& command, std::int64_t at) {
  switch (event.kind) {
    case EventKind::kAnswered:
      return command.answer && command.answer->time == at ? Ending::kEnd : Ending::kLate;
    case EventKind::kTimedOut:
    case EventKind::kRefused:
      return Ending::kEnd;
    default:
      return Ending::kNone;
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
      std::visit([&](auto place) { json.Member(member.key, event.*place); }, member.place);
    }
    json.Member("at", at);
    if (const auto index = record.command_of_event[i]) {
      const Command& command = record.commands[*index];
      json.Member("command", static_cast<std::int64_t>(*index + 1))
          .Member("sinceSent", at - command.begin);
      const Ending ending = EndingOf(event, command, at);
      if (ending == Ending::kEnd) json.Member("outcome", NameOf(command.outcome));
      if (ending == Ending::kLate) json.Member("late", true);
    }
    out << json.EndObject().Text() << "\n";
  }
}

}  // namespace tools::record
