// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "record/record.h"

#include <qor_handler_manager.h>

#include <algorithm>
#include <map>
#include <utility>

namespace tools::record {

namespace {

// Assigns events to commands by process and uuid. A uuid may be sent again, so an event belongs to
// the last command with its uuid that is in a suitable state.
class RecordBuilder {
 public:
  explicit RecordBuilder(std::vector<Event> events) {
    record_.events = std::move(events);
    if (record_.events.empty()) return;
    record_.origin = record_.events.front().time;
    record_.duration = record_.events.back().time - record_.origin;
  }

  Record Build() {
    for (const Event& event : record_.events) record_.command_of_event.push_back(Add(event));
    for (CommandTimeline& timeline : timelines_) {
      if (timeline.is_open) timeline.command.end = record_.duration;
      timeline.command.segments = SegmentsOf(timeline);
      record_.commands.push_back(std::move(timeline.command));
    }
    return std::move(record_);
  }

 private:
  struct CommandTimeline {
    Command command;
    bool is_open = true;
  };

  using Index = std::optional<std::size_t>;

  std::int64_t Time(const Event& event) const { return event.time - record_.origin; }

  // Processes an event. Returns the index of its command, if any.
  Index Add(const Event& event) {
    switch (event.kind) {
      case EventKind::kStart:
        if (record_.agents.empty()) record_.wall = event.wall;
        record_.agents.push_back({event.process, event.program});
        return std::nullopt;
      case EventKind::kSent:
        return Begin(event);
      case EventKind::kConnected:
        Connect(event);
        return std::nullopt;
      case EventKind::kDisconnected:
        Disconnect(event);
        return std::nullopt;
      case EventKind::kExited:
        AddExit(event);
        return std::nullopt;
      case EventKind::kStopped:
      case EventKind::kEnd:
        Stop(event);
        return std::nullopt;
      case EventKind::kAnswered:
        return AddAnswer(event);
      default:
        return AddStep(event);
    }
  }

  std::size_t Begin(const Event& event) {
    CommandTimeline timeline;
    timeline.command.process = event.process;
    timeline.command.uuid = event.uuid;
    timeline.command.type = event.type;
    timeline.command.payload = event.payload;
    timeline.command.begin = Time(event);
    timelines_.push_back(std::move(timeline));
    const std::size_t index = timelines_.size() - 1;
    timelines_by_uuid_[{event.process, event.uuid}].push_back(index);
    return index;
  }

  // Finds the command that was sent last with the uuid and handler of the event.
  Index Find(const Event& event, bool is_open) const {
    const auto found = timelines_by_uuid_.find({event.process, event.uuid});
    if (found == timelines_by_uuid_.end()) return std::nullopt;
    for (auto index = found->second.rbegin(); index != found->second.rend(); ++index) {
      const CommandTimeline& timeline = timelines_[*index];
      const bool same_handler = event.handler.empty() || timeline.command.handler.empty() ||
                                event.handler == timeline.command.handler;
      if (timeline.is_open == is_open && same_handler) return *index;
    }
    return std::nullopt;
  }

  Index AddStep(const Event& event) {
    const Index index = Find(event, true);
    if (!index) return std::nullopt;
    Command& command = timelines_[*index].command;
    switch (event.kind) {
      case EventKind::kRouted:
        SetHandler(command, event.handler);
        break;
      case EventKind::kLaunched:
        SetHandler(command, event.handler);
        if (event.code == 0) command.launched = Time(event);
        break;
      case EventKind::kAccepted:
        command.accepted = Time(event);
        break;
      case EventKind::kRefused:
        command.code = event.code;
        Finish(*index, Outcome::kRefused, Time(event));
        break;
      case EventKind::kDelivered:
        SetHandler(command, event.handler);
        if (event.code == 0) command.delivered.push_back(Time(event));
        break;
      case EventKind::kExtension:
        command.extensions.push_back({Time(event), event.seconds, event.granted});
        break;
      case EventKind::kTimedOut:
        Finish(
            *index,
            event.limit == "connection" ? Outcome::kConnectionTimeout : Outcome::kExecutionTimeout,
            Time(event));
        break;
      default:
        break;
    }
    return index;
  }

  Index AddAnswer(const Event& event) {
    const Answer answer{Time(event), event.status, event.result, event.error};
    if (const Index index = Find(event, true)) {
      SetHandler(timelines_[*index].command, event.handler);
      timelines_[*index].command.answer = answer;
      Finish(*index, event.status == 0 ? Outcome::kSuccess : Outcome::kFailure, Time(event));
      return index;
    }
    Index index = Find(event, false);
    if (!index) {
      index = Begin(event);
      SetHandler(timelines_[*index].command, event.handler);
      Finish(*index, Outcome::kUnsolicited, Time(event));
    }
    timelines_[*index].command.late_answers.push_back(answer);
    return index;
  }

  void Finish(std::size_t index, Outcome outcome, std::int64_t time) {
    timelines_[index].is_open = false;
    timelines_[index].command.outcome = outcome;
    timelines_[index].command.end = time;
  }

  void SetHandler(Command& command, const std::string& handler) {
    if (handler.empty()) return;
    command.handler = handler;
    HandlerOf(handler);
  }

  Handler& HandlerOf(const std::string& id) {
    auto& handlers = record_.handlers;
    const auto found = std::find_if(handlers.begin(), handlers.end(),
                                    [&id](const Handler& handler) { return handler.id == id; });
    if (found != handlers.end()) return *found;
    handlers.push_back({id, {}, {}});
    return handlers.back();
  }

  void Connect(const Event& event) {
    HandlerOf(event.handler)
        .connections.push_back({event.process, event.instance, Time(event), record_.duration});
    ForEachPending(event, [&](Command& command) {
      const bool is_waiting = command.launched && !command.connected && command.delivered.empty();
      if (is_waiting) command.connected = Time(event);
    });
  }

  // Ends the last connection with this identifier.
  void Disconnect(const Event& event) {
    for (Handler& handler : record_.handlers) {
      for (auto connection = handler.connections.rbegin(); connection != handler.connections.rend();
           ++connection) {
        if (connection->process != event.process || connection->instance != event.instance)
          continue;
        connection->end = std::min(connection->end, Time(event));
        break;
      }
    }
    ForEachPending(event,
                   [&](Command& command) { AddInterruption(command.disconnected, Time(event)); });
  }

  template <typename Interruption>
  static void AddInterruption(std::vector<Interruption>& list, const Interruption& added) {
    if (list.size() < kMaxInterruptions) list.push_back(added);
  }

  void AddExit(const Event& event) {
    const Exit exit{event.process, event.handler_process, Time(event),
                    event.status,  event.signal,          event.text};
    HandlerOf(event.handler).exits.push_back(exit);
    ForEachPending(event, [&](Command& command) { AddInterruption(command.exits, exit); });
  }

  // Calls `function` for each pending command of the event's agent and handler.
  template <typename Function>
  void ForEachPending(const Event& event, Function function) {
    for (CommandTimeline& timeline : timelines_) {
      const bool is_affected = timeline.is_open && timeline.command.process == event.process &&
                               timeline.command.handler == event.handler;
      if (is_affected) function(timeline.command);
    }
  }

  // Handles a shutdown of the library and the exit of the agent.
  void Stop(const Event& event) {
    for (std::size_t index = 0; index < timelines_.size(); ++index) {
      if (timelines_[index].is_open && timelines_[index].command.process == event.process) {
        Finish(index, Outcome::kDropped, Time(event));
      }
    }
    for (Handler& handler : record_.handlers) {
      for (Connection& connection : handler.connections) {
        if (connection.process == event.process) {
          connection.end = std::min(connection.end, Time(event));
        }
      }
    }
  }

  static std::vector<Segment> SegmentsOf(const CommandTimeline& timeline) {
    const Command& command = timeline.command;
    std::vector<Segment> segments;
    std::int64_t begin = command.begin;
    const auto add = [&](Phase phase, std::int64_t end) {
      if (end > begin) segments.push_back({phase, begin, end});
      begin = std::max(begin, end);
    };
    if (command.outcome == Outcome::kRefused) return segments;
    const std::int64_t delivered =
        command.delivered.empty() ? command.end : command.delivered.front();
    if (command.launched) add(Phase::kConnecting, command.connected.value_or(delivered));
    add(Phase::kWaiting, delivered);
    add(Phase::kExecuting, command.end);
    return segments;
  }

  Record record_;
  std::vector<CommandTimeline> timelines_;
  std::map<std::pair<std::int64_t, std::string>, std::vector<std::size_t>> timelines_by_uuid_;
};

}  // namespace

const char* NameOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::kSuccess:
      return "success";
    case Outcome::kFailure:
      return "failure";
    case Outcome::kConnectionTimeout:
      return "connection timeout";
    case Outcome::kExecutionTimeout:
      return "execution timeout";
    case Outcome::kRefused:
      return "refused";
    case Outcome::kDropped:
      return "dropped";
    case Outcome::kUnfinished:
      return "unfinished";
    case Outcome::kUnsolicited:
      return "unsolicited";
  }
  return "";
}

const char* NameOf(Phase phase) {
  switch (phase) {
    case Phase::kConnecting:
      return "connecting";
    case Phase::kWaiting:
      return "waiting";
    case Phase::kExecuting:
      return "executing";
  }
  return "";
}

std::string ReasonOf(std::int64_t code) {
  const char* meaning = "rejected by the library";
  if (code == QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND) {
    meaning = "no handler serves the type";
  } else if (code == QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL) {
    meaning = "the handler could not be launched";
  } else if (code == QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER) {
    meaning = "invalid argument";
  }
  return std::string(meaning) + " (" + std::to_string(code) + ")";
}

Record MakeRecord(std::vector<Event> events) { return RecordBuilder(std::move(events)).Build(); }

}  // namespace tools::record
