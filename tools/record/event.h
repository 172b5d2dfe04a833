// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_RECORD_EVENT_H_
#define QOR_TOOLS_RECORD_EVENT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tools::record {

enum class EventKind {
  kStart,
  kSent,
  kRouted,
  kLaunched,
  kAccepted,
  kRefused,
  kConnected,
  kDelivered,
  kExtension,
  kAnswered,
  kTimedOut,
  kDisconnected,
  kExited,
  kStopped,
  kEnd,
};

// One line of a record. The kind determines which members are used; see MembersOf().
struct Event {
  EventKind kind{};
  // Microseconds of the monotonic clock.
  std::int64_t time = 0;
  // Process id of the agent.
  std::int64_t process = 0;

  std::string uuid;
  std::string type;
  std::string payload;
  // Application id.
  std::string handler;
  // The platform's identifier of a connection.
  std::string instance;
  std::string result;
  std::string error;
  // The timeout: "connection" or "execution".
  std::string limit;
  std::string program;
  // Microseconds of the real-time clock, since 1970.
  std::int64_t wall = 0;
  // Process id of the handler.
  std::int64_t handler_process = 0;
  // Of an answer; 0 is success. Of an exit; 0 if a signal ended the process.
  std::int64_t status = 0;
  // The signal that ended the process, or 0.
  std::int64_t signal = 0;
  // How the process ended: "exited with status 3".
  std::string text;
  // The error code of the library or the platform; 0 is success.
  std::int64_t code = 0;
  double seconds = 0;
  bool granted = false;
};

// A member of a line and the field of Event that stores it.
struct Member {
  const char* key;
  std::variant<std::string Event::*, std::int64_t Event::*, double Event::*, bool Event::*> field;
};

// The value of "event" in a line.
const char* NameOf(EventKind kind);
// Returns the kind with this name, or nothing.
std::optional<EventKind> FindKind(const std::string& name);
// The members of such lines besides time, process and name.
const std::vector<Member>& MembersOf(EventKind kind);

}  // namespace tools::record

#endif
